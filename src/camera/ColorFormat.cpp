#include "camera/ColorFormat.h"

namespace ColorFormat {

int ChannelCount(int format) {
    switch (format) {
        case 2:
            return 2;
        case 17:
            return 3;
        case 18:
            return 6;
        default:
            return 1;
    }
}

int ColorModeCode(int format) {
    switch (format) {
        case 2:
            return 1;
        case 16:
            return 2;
        case 17:
            return 3;
        default:
            return 0;
    }
}

int FrameCode(int format) {
    switch (format) {
        case 2:
            return 2;
        case 17:
            return 3;
        default:
            return 1;
    }
}

bool IsColorCamera(int format) {
    return format >= 16 && format <= 18;
}

bool IsTextureCode(int colorModeCode) {
    return colorModeCode == 2 || colorModeCode == 3;
}

}  // namespace ColorFormat
