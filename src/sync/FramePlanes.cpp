#include "sync/FramePlanes.h"

#include <cstdlib>

#include "camera/PhysicalCameraThread.h"

CFramePlanes::CFramePlanes(CPhysicalCameraThread* camera, const unsigned char* frame, int width,
                           int height, int channels)
    : m_frame(frame), m_width(width), m_height(height), m_frameChannels(channels) {
    m_bSplit = camera != nullptr && camera->GetCameraComplexInfo() >= 2;
    if (m_bSplit) {
        // The frame is as large as the camera thread delivered it: width x height at the
        // camera's channel count.
        camera->SplitImage(frame, camera->FrameBytesOf(width, height), m_planes, m_widths,
                           m_heights, m_channels);
    }
}

CFramePlanes::~CFramePlanes() {
    for (unsigned char* plane : m_planes) {
        std::free(plane);
    }
}
