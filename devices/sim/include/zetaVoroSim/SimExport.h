// Export macro of the virtual scanner's core library (zetaVoroSim).
#pragma once

#if defined(_WIN32)
#if defined(ZETA_SIM_BUILD)
#define ZETA_SIM_API __declspec(dllexport)
#else
#define ZETA_SIM_API __declspec(dllimport)
#endif
#else
#define ZETA_SIM_API __attribute__((visibility("default")))
#endif
