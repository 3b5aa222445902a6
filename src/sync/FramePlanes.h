// CFramePlanes: the images one frame carries, as the frame handlers hand them on. A camera that
// serves several logical cameras (complex info 2 or more) has its frame split into its sensor
// images; any other frame is one plane, the frame itself. Plane k belongs to logical camera
// cameraID + k.
//
// The split planes are malloc'd by the camera library and freed by the destructor, after
// delivery. Runs on the grab thread that delivered the frame; the frame must stay valid for the
// object's life (the handlers use it within the frame callback).
#pragma once

#include <cstddef>
#include <vector>

class CPhysicalCameraThread;

class CFramePlanes {
public:
    CFramePlanes(CPhysicalCameraThread* camera, const unsigned char* frame, int width, int height,
                 int channels);
    ~CFramePlanes();
    CFramePlanes(const CFramePlanes&) = delete;
    CFramePlanes& operator=(const CFramePlanes&) = delete;

    bool IsSplit() const { return m_bSplit; }
    std::size_t Count() const { return m_bSplit ? m_planes.size() : 1; }
    // Null for a plane the split could not make (it is skipped by the handlers).
    const unsigned char* Plane(std::size_t k) const { return m_bSplit ? m_planes[k] : m_frame; }
    int Width(std::size_t k) const { return Pick(m_widths, k, m_width); }
    int Height(std::size_t k) const { return Pick(m_heights, k, m_height); }
    int Channels(std::size_t k) const { return Pick(m_channels, k, m_frameChannels); }

    // Calls fn(cameraID + k, plane, width, height, channels) for every non-null plane k.
    template <class Fn>
    void ForEach(int cameraID, Fn&& fn) const {
        for (std::size_t k = 0; k < Count(); ++k) {
            const unsigned char* plane = Plane(k);
            if (plane == nullptr) continue;
            fn(cameraID + static_cast<int>(k), plane, Width(k), Height(k), Channels(k));
        }
    }

private:
    int Pick(const std::vector<int>& values, std::size_t k, int whole) const {
        return m_bSplit && k < values.size() ? values[k] : whole;
    }

    const unsigned char* m_frame;
    int m_width;
    int m_height;
    int m_frameChannels;
    bool m_bSplit = false;
    std::vector<unsigned char*> m_planes;
    std::vector<int> m_widths;
    std::vector<int> m_heights;
    std::vector<int> m_channels;
};
