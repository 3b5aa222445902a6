#include "camera/PhysicalCameraThreadListener.h"

PhysicalCameraThreadListener::~PhysicalCameraThreadListener() = default;

bool PhysicalCameraThreadListener::IsSecondCallBackEnabled() {
    return true;
}
