// Number formatting of the program's output.
#pragma once

#include <string>

namespace zeta::cli {

// `value` with `decimals` digits after the point ("0.231").
std::string fixed(double value, int decimals);

}  // namespace zeta::cli
