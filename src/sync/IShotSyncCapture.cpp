// IShotSync: still capture (slots 57-61). The default scan frame handler and the full and
// texture group matchers are in IShotSyncFrameGroups.cpp.
//
// Still capture runs on the caller's thread under m_csProjector (the main lock), so a snap never
// overlaps a trigger, projection or parameter change made through the same object. The camera
// threads keep running; snapshots go through the camera-thread operations, which take each
// camera's own data lock. Every image handed out is malloc'd and becomes the caller's (free).
#include <glog/logging.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "camera/ColorFormat.h"
#include "platform/Console.h"
#include "platform/CriticalSectionGuard.h"
#include "platform/Sleep.h"
#include "platform/TraceBuffer.h"
#include "sync/FramePlanes.h"
#include "sync/HostCallbackScope.h"
#include "sync/IShotSync.h"

using zeta::platform::CriticalSectionGuard;
using zetaVoroSync::_MY_IMAGE_;

namespace {

// Longest wait of a single snap for the frame after the camera's reset (a camera triggered at a
// slow period, or a free-running one, delivers well within it).
constexpr std::uint32_t kSnapFrameWaitMs = 1000;

// The snap guard's saved copy of m_bAutoReconnect: one for the whole process, so two
// synchronisers snapping at once restore each other's value (kept as the system does it).
std::atomic<bool> g_savedAutoReconnect{false};

// Size of a block for a camera thread's SnapShot / CopyCurrentFrame: the snap's own size (width x
// height x bytes per pixel of the live resolution), but never less than the size the thread was
// opened with. The copies themselves are bounded by the block and by the frame delivered; the
// larger block is for the split of a complex camera's copy, which the camera library cuts by the
// camera's layout, and a camera that does not report its size (one pixel on a USB 2 link) still
// delivers frames of the size it was opened at.
std::size_t SnapBlockSize(const std::vector<int>& openSizes, std::size_t threadIndex, int width,
                          int height, int bytesPerPixel) {
    const std::size_t bpp = static_cast<std::size_t>(std::max(bytesPerPixel, 0));
    std::size_t pixels = static_cast<std::size_t>(std::max(width, 0)) *
                         static_cast<std::size_t>(std::max(height, 0));
    if (2 * threadIndex + 1 < openSizes.size()) {
        const std::size_t openPixels =
            static_cast<std::size_t>(std::max(openSizes[2 * threadIndex], 0)) *
            static_cast<std::size_t>(std::max(openSizes[2 * threadIndex + 1], 0));
        pixels = std::max(pixels, openPixels);
    }
    return pixels * bpp;
}

unsigned char* AllocateBlock(std::size_t bytes) {
    return bytes > 0 ? static_cast<unsigned char*>(std::malloc(bytes)) : nullptr;
}

void FreeAll(std::vector<unsigned char*>& blocks) {
    for (unsigned char*& block : blocks) {
        std::free(block);
        block = nullptr;
    }
}

// Writes source byte i to result byte 3 x i + k for every i below `pixels`.
void WriteChannel(unsigned char* result, const unsigned char* source, std::size_t pixels, int k) {
    for (std::size_t i = 0; i < pixels; ++i) {
        result[3 * i + static_cast<std::size_t>(k)] = source[i];
    }
}

}  // namespace

// ---- Helpers ----------------------------------------------------------------------------------

void IShotSync::ResetCameraToInitializedState(CPhysicalCameraThread* camera) {
    if (camera != nullptr) {
        // Locks the snap thread, initialises the camera, unlocks it, forgets the last frame and
        // zeroes the frame counter (the camera thread's own sequence).
        camera->SetCameraToInitializedState();
    }
}

void IShotSync::SaveAndClearAutoReconnect() {
    g_savedAutoReconnect = m_bAutoReconnect.load();
    m_bAutoReconnect = false;
}

void IShotSync::RestoreAutoReconnect() {
    m_bAutoReconnect = g_savedAutoReconnect.load();
}

// ---- Slot 57 ----------------------------------------------------------------------------------

int IShotSync::SnapSingleImageFromSpecifyCamera(const int& camOrder, unsigned char*& image,
                                                int& width, int& height, int& channels) {
    if (camOrder < 0 || camOrder >= static_cast<int>(m_cameraChannels.size()) || image != nullptr) {
        return 1;
    }
    SaveAndClearAutoReconnect();
    CriticalSectionGuard mainLock(m_csProjector);

    const std::uint32_t word = m_cameraChannels[camOrder];
    const std::size_t physical = (word >> 4) & 0x0fu;
    CPhysicalCameraThread* camera = physical < m_cameras.size() ? m_cameras[physical] : nullptr;
    if (camera == nullptr) {
        image = nullptr;
        width = 0;
        height = 0;
        channels = 0;
        RestoreAutoReconnect();
        return 2;
    }

    ResetCameraToInitializedState(camera);
    width = 0;
    height = 0;
    camera->GetResolution(width, height);
    const int bytesPerPixel = BytesPerPixelOf(camera);
    const std::size_t blockBytes =
        SnapBlockSize(m_cameraResolution, physical, width, height, bytesPerPixel);
    unsigned char* block = AllocateBlock(blockBytes);
    // Copies the camera thread's most recent frame. The reset above made it forget its last
    // frame, so the copy waits (bounded) for the grab thread to snap the next one: copied at once,
    // the snap would fail whenever no frame happened to arrive between the reset and the copy.
    // Without a frame in time the camera thread prints "No Data" and the snap fails.
    camera->WaitForCurrentFrame(kSnapFrameWaitMs);
    if (!camera->CopyCurrentFrame(block, blockBytes)) {
        std::free(block);
        RestoreAutoReconnect();
        return 3;
    }

    const int complexInfo = camera->GetCameraComplexInfo();
    ZETA_TRACE_TMPBUF("GetCameraComplexInfo=%d", complexInfo);
    if (complexInfo < 2) {
        image = block;
        channels = bytesPerPixel;
    } else {
        std::vector<unsigned char*> planes;
        std::vector<int> widths;
        std::vector<int> heights;
        std::vector<int> planeChannels;
        camera->SplitImage(block, blockBytes, planes, widths, heights, planeChannels);
        int format = 1;
        camera->GetColorFormat(format);
        const std::size_t sub = word & 0x0fu;
        if (sub < planes.size() && planes[sub] != nullptr) {
            image = planes[sub];
            planes[sub] = nullptr;
            width = sub < widths.size() ? widths[sub] : 0;
            height = sub < heights.size() ? heights[sub] : 0;
            // The sub-image's format value, as the camera library reports it.
            channels = format;
        }
        FreeAll(planes);
        std::free(block);
        if (image == nullptr) {
            // The map names a sub-image the split did not produce: nothing to hand out.
            width = 0;
            height = 0;
            channels = 0;
            RestoreAutoReconnect();
            return 3;
        }
    }
    RestoreAutoReconnect();
    return 0;
}

// ---- Slot 58 ----------------------------------------------------------------------------------

int IShotSync::SnapSingleGroupImages(std::vector<unsigned char*>& images, std::vector<int>& widths,
                                     std::vector<int>& heights, std::vector<int>& channels) {
    CriticalSectionGuard mainLock(m_csProjector);
    if (!images.empty() || !widths.empty() || !heights.empty() || !channels.empty()) {
        zeta::platform::consolePrintf("SnapSingleGroupImages Failed, Parameter Error\n");
        return 1;
    }
    SaveOrRestoreVideoTrigger(true);
    SaveAndClearAutoReconnect();
    EnableContinueTrigger(0, true);  // the mono cameras are triggered while they are snapped

    for (std::size_t i = 0; i < m_cameras.size(); ++i) {
        CPhysicalCameraThread* camera = m_cameras[i];
        if (camera == nullptr) {
            break;
        }
        if (ColorFormat::IsTextureCode(PixelTypeOf(camera))) {
            continue;
        }
        int width = 0;
        int height = 0;
        camera->GetResolution(width, height);
        const int bytesPerPixel = BytesPerPixelOf(camera);
        const std::size_t blockBytes =
            SnapBlockSize(m_cameraResolution, i, width, height, bytesPerPixel);
        unsigned char* block = AllocateBlock(blockBytes);
        unsigned char* target = block;  // SnapShot nulls its argument when it gets no data
        if (block == nullptr || !camera->SnapShot(target, blockBytes)) {
            std::free(block);
            // The blocks appended so far are freed and the image, width and height lists
            // emptied; the channel list keeps what was appended (deliberate). Every block the
            // list holds is freed, which with complex cameras is not the same as the first i.
            FreeAll(images);
            images.clear();
            widths.clear();
            heights.clear();
            break;
        }
        const int complexInfo = camera->GetCameraComplexInfo();
        ZETA_TRACE_TMPBUF("GetCameraComplexInfo=%d", complexInfo);
        if (complexInfo < 2) {
            images.push_back(block);
            widths.push_back(width);
            heights.push_back(height);
            channels.push_back(bytesPerPixel);
        } else {
            std::vector<unsigned char*> planes;
            std::vector<int> planeWidths;
            std::vector<int> planeHeights;
            std::vector<int> planeChannels;
            camera->SplitImage(block, blockBytes, planes, planeWidths, planeHeights, planeChannels);
            int format = 1;
            camera->GetColorFormat(format);
            for (std::size_t s = 0; s < planes.size(); ++s) {
                images.push_back(planes[s]);
                widths.push_back(s < planeWidths.size() ? planeWidths[s] : 0);
                heights.push_back(s < planeHeights.size() ? planeHeights[s] : 0);
                channels.push_back(format);
            }
            std::free(block);
        }
    }

    SaveOrRestoreVideoTrigger(false);
    RestoreAutoReconnect();
    if (images.size() < m_cameras.size()) {
        zeta::platform::consolePrintf("SnapSingleGroupImages Failed, Images Not Enough\n");
        return 2;
    }
    zeta::platform::consolePrintf("SnapSingleGroupImages Success\n");
    return 0;
}

// ---- Slot 59 ----------------------------------------------------------------------------------

int IShotSync::SnapRGBImageFromSpecifyCamera(const int& camOrder, unsigned char*& image, int& width,
                                             int& height) {
    if (camOrder < 0 || camOrder >= static_cast<int>(m_cameraChannels.size()) || image != nullptr) {
        return 1;
    }
    SaveAndClearAutoReconnect();
    const std::uint32_t word = m_cameraChannels[camOrder];
    const std::size_t physical = (word >> 4) & 0x0fu;
    CriticalSectionGuard mainLock(m_csProjector);

    CPhysicalCameraThread* camera = physical < m_cameras.size() ? m_cameras[physical] : nullptr;
    if (camera == nullptr) {
        LOG(INFO) << "Invalid Camera Handle\n";
        RestoreAutoReconnect();
        return 4;
    }

    const int pixelType = PixelTypeOf(camera);
    width = 0;
    height = 0;
    camera->GetResolution(width, height);
    const int tmpPixelSize = BytesPerPixelOf(camera);
    LOG(INFO) << "tmpPixelSize=" << tmpPixelSize
              << "m_bColorTrigleCopyFromMono=" << m_bColorTrigleCopyFromMono;
    const std::size_t pixels = static_cast<std::size_t>(std::max(width, 0)) *
                               static_cast<std::size_t>(std::max(height, 0));
    // The mono route's trigger period and pulse width, in milliseconds.
    const int settleMs = std::max(m_triggerVideoPeriod[0], 0) + std::max(m_triggerWidth[0], 0);

    if (ColorFormat::IsTextureCode(pixelType)) {
        SaveOrRestoreVideoTrigger(true);
        EnableContinueTrigger(2, false);
        zeta::platform::sleepMs(static_cast<std::uint32_t>(settleMs));
        ResetCameraToInitializedState(camera);
        EnableContinueTrigger(1, true);
        zeta::platform::sleepMs(static_cast<std::uint32_t>(settleMs));

        const std::size_t blockBytes =
            SnapBlockSize(m_cameraResolution, physical, width, height, tmpPixelSize);
        unsigned char* block = AllocateBlock(blockBytes);
        unsigned char* target = block;
        if (block == nullptr || !camera->SnapShot(target, blockBytes)) {
            LOG(INFO) << "SnapRGBImageFromSpecifyCamera SnapShot failed!\n";
            zeta::platform::consolePrintf("\nSnapRGBImageFromSpecifyCamera SnapShot failed!\n");
            std::free(block);
            SaveOrRestoreVideoTrigger(false);
            RestoreAutoReconnect();
            return 3;
        }
        const int complexInfo = camera->GetCameraComplexInfo();
        ZETA_TRACE_TMPBUF("GetCameraComplexInfo=%d", complexInfo);
        if (complexInfo < 2) {
            if (pixelType == 3) {
                image = block;
            } else {
                // RGBRAW: every source byte goes to all three channels of its pixel (no
                // demosaicing).
                image = static_cast<unsigned char*>(std::malloc(pixels * 3 > 0 ? pixels * 3 : 1));
                if (image != nullptr) {
                    for (int k = 0; k < 3; ++k) {
                        WriteChannel(image, block, pixels, k);
                    }
                }
                std::free(block);
            }
        } else {
            std::vector<unsigned char*> planes;
            std::vector<int> widths;
            std::vector<int> heights;
            std::vector<int> planeChannels;
            camera->SplitImage(block, blockBytes, planes, widths, heights, planeChannels);
            const std::size_t sub = word & 0x0fu;
            if (sub < planes.size() && planes[sub] != nullptr) {
                image = planes[sub];
                planes[sub] = nullptr;
                // The outputs describe the block handed out (a sub-image is smaller than the
                // whole frame the resolution named).
                width = sub < widths.size() ? widths[sub] : 0;
                height = sub < heights.size() ? heights[sub] : 0;
            }
            FreeAll(planes);
            std::free(block);
        }
        SaveOrRestoreVideoTrigger(false);
        RestoreAutoReconnect();
        return 0;
    }

    // A mono camera: three shots under red, green and blue light make the three channels.
    LOG(INFO) << "Not RGB888 Or RGBRAW Camera\n";
    // Zeroed: a complex camera's sub-image fills only part of the whole frame's result.
    unsigned char* result =
        static_cast<unsigned char*>(std::calloc(pixels * 3 > 0 ? pixels * 3 : 1, 1));
    SaveOrRestoreVideoTrigger(true);
    EnableContinueTrigger(0, true);
    ResetCameraToInitializedState(camera);
    const int complexInfo = camera->GetCameraComplexInfo();
    bool ok = result != nullptr;
    for (int k = 0; ok && k < 3; ++k) {
        Project(9 + k);  // pattern codes 9, 10, 11: red, green, blue; no wait follows
        const std::size_t shotBytes =
            SnapBlockSize(m_cameraResolution, physical, width, height, tmpPixelSize);
        unsigned char* shot = AllocateBlock(shotBytes);
        unsigned char* target = shot;
        if (shot == nullptr || !camera->SnapShot(target, shotBytes)) {
            std::free(shot);
            ok = false;
            break;
        }
        ZETA_TRACE_TMPBUF("GetCameraComplexInfo=%d", complexInfo);
        if (complexInfo < 2) {
            WriteChannel(result, shot, pixels, k);
        } else {
            std::vector<unsigned char*> planes;
            std::vector<int> widths;
            std::vector<int> heights;
            std::vector<int> planeChannels;
            camera->SplitImage(shot, shotBytes, planes, widths, heights, planeChannels);
            const std::size_t sub = word & 0x0fu;
            if (sub < planes.size() && planes[sub] != nullptr) {
                // Source byte i for every pixel i of the result, bounded by the sub-image's
                // bytes: the sub-image is smaller than the whole frame.
                const std::size_t subBytes =
                    static_cast<std::size_t>(std::max(sub < widths.size() ? widths[sub] : 0, 0)) *
                    static_cast<std::size_t>(std::max(sub < heights.size() ? heights[sub] : 0, 0)) *
                    static_cast<std::size_t>(
                        std::max(sub < planeChannels.size() ? planeChannels[sub] : 0, 0));
                WriteChannel(result, planes[sub], std::min(pixels, subBytes), k);
            }
            FreeAll(planes);
        }
        std::free(shot);
    }
    if (!ok) {
        std::free(result);
        image = nullptr;
        SaveOrRestoreVideoTrigger(false);
        RestoreAutoReconnect();
        return 3;
    }
    image = result;
    SaveOrRestoreVideoTrigger(false);
    RestoreAutoReconnect();
    return 0;
}

// ---- Slot 60 ----------------------------------------------------------------------------------

int IShotSync::SnapSingleGroupRGBImages(std::vector<unsigned char*>& images,
                                        std::vector<int>& widths, std::vector<int>& heights) {
    if (!images.empty() || !widths.empty() || !heights.empty()) {
        return 1;
    }
    SaveAndClearAutoReconnect();
    CriticalSectionGuard mainLock(m_csProjector);

    struct Member {
        CPhysicalCameraThread* camera;
        std::size_t threadIndex;
        std::size_t position;  // first output position: sum of the complex counts before it
    };
    std::vector<Member> colour;
    std::vector<Member> mono;
    std::size_t position = 0;
    for (std::size_t i = 0; i < m_cameras.size(); ++i) {
        CPhysicalCameraThread* camera = m_cameras[i];
        if (camera == nullptr) {
            RestoreAutoReconnect();
            return 3;
        }
        (ColorFormat::IsTextureCode(PixelTypeOf(camera)) ? colour : mono)
            .push_back({camera, i, position});
        position += static_cast<std::size_t>(std::max(camera->GetCameraComplexInfo(), 0));
        ResetCameraToInitializedState(camera);
    }

    const std::size_t logicalCount = m_cameraChannels.size();
    images.assign(logicalCount, nullptr);
    widths.assign(logicalCount, 0);
    heights.assign(logicalCount, 0);

    // Stores one block at an output position; a position past the logical cameras (a split that
    // gave more sub-images than the map counts) is not written and its block is freed.
    auto store = [&](std::size_t at, unsigned char* block, int width, int height) {
        if (at < logicalCount) {
            std::free(images[at]);
            images[at] = block;
            widths[at] = width;
            heights[at] = height;
        } else {
            std::free(block);
        }
    };

    // Colour cameras, under the texture light with the colour strobe.
    SaveOrRestoreVideoTrigger(true);
    EnableContinueTrigger(1, true);
    Project(4);
    PowerStrobeUp(0, false);
    PowerStrobeUp(1, true);
    for (const Member& member : colour) {
        int width = 0;
        int height = 0;
        member.camera->GetResolution(width, height);
        const int bytesPerPixel = BytesPerPixelOf(member.camera);
        const std::size_t blockBytes =
            SnapBlockSize(m_cameraResolution, member.threadIndex, width, height, bytesPerPixel);
        unsigned char* block = AllocateBlock(blockBytes);
        unsigned char* target = block;
        if (block == nullptr || !member.camera->SnapShot(target, blockBytes)) {
            std::free(block);  // a failed snapshot leaves a null block in place
            continue;
        }
        const int complexInfo = member.camera->GetCameraComplexInfo();
        ZETA_TRACE_TMPBUF("GetCameraComplexInfo=%d", complexInfo);
        if (complexInfo < 2) {
            store(member.position, block, width, height);
        } else {
            std::vector<unsigned char*> planes;
            std::vector<int> planeWidths;
            std::vector<int> planeHeights;
            std::vector<int> planeChannels;
            member.camera->SplitImage(block, blockBytes, planes, planeWidths, planeHeights,
                                      planeChannels);
            for (std::size_t s = 0; s < planes.size(); ++s) {
                store(member.position + s, planes[s], s < planeWidths.size() ? planeWidths[s] : 0,
                      s < planeHeights.size() ? planeHeights[s] : 0);
            }
            std::free(block);
        }
    }

    // Mono cameras: three passes under red, green and blue light, one channel each.
    PowerStrobeUp(1, false);
    EnableContinueTrigger(0, true);
    struct Shot {
        unsigned char* block = nullptr;
        std::size_t bytes = 0;  // the block's size
        int width = 0;
        int height = 0;
        int bytesPerPixel = 0;
    };
    for (int k = 0; k < 3; ++k) {
        Project(9 + k);
        std::vector<Shot> shots(mono.size());
        for (std::size_t m = 0; m < mono.size(); ++m) {
            CPhysicalCameraThread* camera = mono[m].camera;
            ResetCameraToInitializedState(camera);
            Shot& shot = shots[m];
            camera->GetResolution(shot.width, shot.height);
            shot.bytesPerPixel = BytesPerPixelOf(camera);
            // The block is width x width x bytes per pixel (the first dimension twice, as the
            // system sizes it), but at least width x height x bytes per pixel: the composition
            // reads width x height pixels back from it and a complex camera's split cuts the
            // whole frame, which for a camera taller than wide would read past a width x width
            // block.
            const std::size_t side = static_cast<std::size_t>(std::max(shot.width, 0));
            const std::size_t squared = side * side;
            const std::size_t frame =
                SnapBlockSize(m_cameraResolution, mono[m].threadIndex, shot.width, shot.height, 1);
            shot.bytes = std::max(squared, frame) *
                         static_cast<std::size_t>(std::max(shot.bytesPerPixel, 0));
            shot.block = AllocateBlock(shot.bytes);
            unsigned char* target = shot.block;
            if (shot.block != nullptr && !camera->SnapShot(target, shot.bytes)) {
                std::free(shot.block);
                shot.block = nullptr;  // this camera misses this pass
            }
        }
        for (std::size_t m = 0; m < mono.size(); ++m) {
            Shot& shot = shots[m];
            if (shot.block == nullptr) {
                continue;
            }
            // Each (sub-)image at its output position: the result, with its width and height, is
            // allocated when the position is still empty (on the first pass, or on the first pass
            // this camera delivered), zeroed so that a missed pass leaves its channel black.
            auto compose = [&](std::size_t at, const unsigned char* source, int width, int height,
                               std::size_t sourceBytes) {
                if (at >= logicalCount) {
                    return;
                }
                const std::size_t pixels = static_cast<std::size_t>(std::max(width, 0)) *
                                           static_cast<std::size_t>(std::max(height, 0));
                if (images[at] == nullptr) {
                    images[at] = static_cast<unsigned char*>(
                        std::calloc(pixels * 3 > 0 ? pixels * 3 : 1, 1));
                    widths[at] = width;
                    heights[at] = height;
                }
                const std::size_t resultPixels = static_cast<std::size_t>(std::max(widths[at], 0)) *
                                                 static_cast<std::size_t>(std::max(heights[at], 0));
                if (images[at] != nullptr) {
                    WriteChannel(images[at], source, std::min({pixels, resultPixels, sourceBytes}),
                                 k);
                }
            };
            CPhysicalCameraThread* camera = mono[m].camera;
            const int complexInfo = camera->GetCameraComplexInfo();
            if (complexInfo < 2) {
                const std::size_t frameBytes =
                    static_cast<std::size_t>(std::max(shot.width, 0)) *
                    static_cast<std::size_t>(std::max(shot.height, 0)) *
                    static_cast<std::size_t>(std::max(shot.bytesPerPixel, 0));
                compose(mono[m].position, shot.block, shot.width, shot.height, frameBytes);
            } else {
                std::vector<unsigned char*> planes;
                std::vector<int> planeWidths;
                std::vector<int> planeHeights;
                std::vector<int> planeChannels;
                camera->SplitImage(shot.block, shot.bytes, planes, planeWidths, planeHeights,
                                   planeChannels);
                for (std::size_t s = 0; s < planes.size(); ++s) {
                    if (planes[s] == nullptr) {
                        continue;
                    }
                    const int w = s < planeWidths.size() ? planeWidths[s] : 0;
                    const int h = s < planeHeights.size() ? planeHeights[s] : 0;
                    const int c = s < planeChannels.size() ? planeChannels[s] : 0;
                    compose(mono[m].position + s, planes[s], w, h,
                            static_cast<std::size_t>(std::max(w, 0)) *
                                static_cast<std::size_t>(std::max(h, 0)) *
                                static_cast<std::size_t>(std::max(c, 0)));
                }
                FreeAll(planes);
            }
            std::free(shot.block);
            shot.block = nullptr;
        }
    }

    SaveOrRestoreVideoTrigger(false);
    RestoreAutoReconnect();
    return 0;
}

// ---- Slot 61 ----------------------------------------------------------------------------------

// True when there is no camera, false otherwise (the result says nothing about the flag).
bool IShotSync::PrintCameraSnapFailInfomation(const bool& bPrint) {
    CriticalSectionGuard mainLock(m_csProjector);
    for (CPhysicalCameraThread* camera : m_cameras) {
        if (camera != nullptr) {
            camera->SetPrintSnapFailInfo(bPrint);
        }
    }
    return m_cameras.empty();
}
