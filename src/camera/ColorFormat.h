// The camera library's colour formats (SN_IMG_FORMAT values 1, 2, 16, 17, 18) and what the
// library derives from them. The odd rows are deliberate: format 2 is sized as two channels, and
// format 18 is sized as six channels and counts as colour during enumeration, but reports
// colour-mode code 0, so the synchroniser's colour tests (codes 2 and 3) treat it as mono.
//
//   format | channels | colour-mode code | frame code | colour camera
//      1   |    1     |        0         |     1      |    no
//      2   |    2     |        1         |     2      |    no
//     16   |    1     |        2         |     1      |    yes
//     17   |    3     |        3         |     3      |    yes
//     18   |    6     |        0         |     1      |    yes
//   other  |    1     |        0         |     1      |    no
#pragma once

namespace ColorFormat {

// Bytes per pixel used to size frame buffers (also the plane channel count of a split).
int ChannelCount(int format);
// Colour-mode code reported to callers: 0 mono8, 1 mono16, 2 RGBRAW, 3 RGB888. The
// synchroniser's "pixel type" is the same code.
int ColorModeCode(int format);
// Code passed as the last argument of the frame callbacks.
int FrameCode(int format);
// True for 16 <= format <= 18 (enumeration's colour flag).
bool IsColorCamera(int format);
// True for the colour-mode codes of the colour (texture) cameras, 2 (RGBRAW) and 3 (RGB888): the
// synchroniser's test of a colour camera. A format-18 camera (code 0) is not one.
bool IsTextureCode(int colorModeCode);

}  // namespace ColorFormat
