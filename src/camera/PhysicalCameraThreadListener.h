// The interface a camera thread reports to. The synchroniser (IShotSync) implements it; each
// CPhysicalCameraThread keeps a pointer to its listener, which outlives the thread.
#pragma once

class PhysicalCameraThreadListener {
public:
    virtual ~PhysicalCameraThreadListener();
    // A camera thread reports a failed snap (the grab loop itself does not call it).
    virtual void onSnapFailed(int camID, int colorMode) = 0;
    // Reserved notification; the camera thread does not call it.
    virtual void onCameraThreadNotify(int notify) = 0;
    // Asked by the grab thread before each call of the display callback. Default: true.
    virtual bool IsSecondCallBackEnabled();
};
