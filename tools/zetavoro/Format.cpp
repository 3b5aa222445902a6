#include "Format.h"

#include <iomanip>
#include <sstream>

namespace zeta::cli {

std::string fixed(double value, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << value;
    return text.str();
}

}  // namespace zeta::cli
