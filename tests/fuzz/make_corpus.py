#!/usr/bin/env python3
"""Writes the seed corpus of zeta_api_fuzzer into tests/fuzz/corpus/ (deterministic).

Each seed is a short program in the byte encoding ApiProgram decodes (ApiProgram.h): a rig byte,
a flags byte, then operations. The helpers below emit the bytes of one operation each, mirroring
the decoder, so that a seed reads as the scenario it starts the fuzzer from.

    python3 tests/fuzz/make_corpus.py            # rewrites tests/fuzz/corpus/
"""
import os
import sys

# Operation bytes of ApiProgram::Operation.
(CONNECT, DISCONNECT, COPY_HANDLE, RECONNECT, CLOSE_CAMERAS, AUTO_RECONNECT, FIRMWARE_VERSION,
 CAMERA_QUERY, STATUS_TEXT, ROUTE_SETTER, ROUTE_GETTER, PROJECTOR, MISC, CAMERA_SETTER,
 CAMERA_GETTER, CALLBACK, SCAN_PARAMETER, SCAN, SCAN_IMAGES, SNAP_SINGLE, SNAP_RGB, SNAP_GROUP,
 SNAP_GROUP_RGB, FIRMWARE_UPDATE, WAIT, FAULT) = range(26)

# Indices into EdgeValues' table of ints.
INTS = [0, 1, -1, 2, 3, 4, 5, 10, 15, 16, 100, 512, 576, 640, 704, 1024, 1280, 10000, 10001,
        65535, 65536, 2**31 - 1, -2**31, 2**31 - 2, -2**31 + 1, 0x7FFF, -65536, 20000]
DOUBLES_NAN, DOUBLES_INF, DOUBLES_NEG_INF, DOUBLES_MAX = 8, 9, 10, 11
FLOATS_NAN, FLOATS_INF = 6, 7

# Mode picks (ConnectDevice's table order, then near misses); picks below 128 mean "STRIPE".
MODES = 16
STRIPE = 0
MODE_PICK = {name: 128 + i for i, name in enumerate(
    ["LASER", "CALIBRATE_E7", "SPECKLE", "SPECKLE_E7", "STRIPE", "E7STRIPE", "STRIPESEQUENCE",
     "SPECKLELASER", "DPLASER", "stripe", "", "STRIPE ", " STRIPE", "STRIPEX", "STRIP", None])}
GOOD_PATH = 0
# Picks of 208 and above choose a path the board refuses: 210 null, 211 "", 212 "sim:board1".
BAD_PATHS = {"null": 210, "": 211, "sim:board1": 212}
FOREIGN = 4  # the fifth handle operand

# Fault operations (ApiProgramFault.cpp): fail the next calls of a device operation, unplug,
# replug, frame faults, status bytes, clear.
BOARD_OPS = ["zetaInitHidDev", "zetaStartOrStopVideoTrigger", "zetaSetVideoTriggerPeriod",
             "zetaSetTriggerPulseWidth", "zetaSetTriggerPolarity",
             "zetaQueryMonoCameraVideoTriggerParameter", "zetaQueryMonoCameraTriggerParameter",
             "zetaOutputSingleTrigger", "zetaProject", "zetaOpenOrCloseStrobe",
             "zetaOpenOrCloseStrobeFlicker", "zetaSetProjectorBrightnessPercent",
             "zetaQueryProjectorBrightnessPercent", "zetaScan", "zetaSetStripeScanParameter"]
CAMERA_OPS = ["CreateCamera", "GetDeviceTotal", "OpenCamera", "CloseCamera", "StartCamera",
              "SnapShot"]


def any_int(value):
    return [INTS.index(value)]


def small(value):
    assert 0 <= value <= 20
    return [value]


def connect(target, cameras, mode=STRIPE, path=GOOD_PATH, sizes=None, shape=0):
    """cameras: positions in the rig's camera list (picks below 208)."""
    count = len(cameras)
    if count == 0:
        count_pick = 0
    elif count <= 3:
        count_pick = 12 + ((count - 1 - 12) % 3)
    else:
        count_pick = 220 + ((count - 4 - 220) % 17)
    out = [CONNECT, target, mode, path, count_pick] + list(cameras)
    for i in range(count):
        if sizes is None:
            out.append(0)  # the camera's own size
        else:
            out += [200] + any_int(sizes[i][0]) + any_int(sizes[i][1])
    return out + [shape]


def fail_next(device, operation, times_pick=0, skip=0):
    """device: 0 the board, 1.. the rig's cameras."""
    names = BOARD_OPS if device == 0 else CAMERA_OPS
    return [FAULT, 0, device, names.index(operation), times_pick, skip]


def op(code, *args):
    return [code] + list(args)


def scan_parameter(handle, rate, frames=15):
    return [SCAN_PARAMETER, handle] + small(rate) + any_int(0) + small(3) + any_int(0) + \
        small(0) + any_int(frames) + small(0) + any_int(0)


def scan(handle, start=1):
    return [SCAN, handle, start, 0]


def firmware(handle, choice, content, image_type_pick=0, progress=0):
    data = content.encode("latin-1")
    assert len(data) <= 48
    return [FIRMWARE_UPDATE, handle, choice, len(data)] + list(data) + [image_type_pick, progress]


SEEDS = {
    "connect-scan-disconnect":
        [0, 0] + connect(0, [0, 1]) + scan_parameter(0, 2) + scan(0) + op(SCAN_IMAGES, 0, 1, 0) +
        op(DISCONNECT, 0),
    "every-mode-string":
        [0, 0] + sum((connect(1, [0, 1], mode=MODE_PICK[m]) for m in MODE_PICK), []) +
        op(DISCONNECT, 1),
    "stale-copied-foreign-handles":
        [0, 0] + connect(0, [0, 1]) + op(COPY_HANDLE, 0, 1) + op(COPY_HANDLE, 0, 2) +
        op(CAMERA_GETTER, 1, 0, 10) + op(DISCONNECT, 0) + op(CAMERA_GETTER, 1, 0, 10) +
        scan(1) + op(SNAP_SINGLE, 2, 0, 0) + op(DISCONNECT, 1) + op(DISCONNECT, FOREIGN) +
        op(DISCONNECT, 2) + op(DISCONNECT, 3),
    "callbacks-registered-and-removed":
        [0, 0] + connect(0, [0, 1]) + op(CALLBACK, 0, 0, 0, 0) + op(CALLBACK, 0, 1, 0, 1) +
        op(CALLBACK, 0, 4, 0, 0) + op(CALLBACK, 0, 5, 0, 2) + op(CALLBACK, 0, 6, 0, 0) +
        op(CALLBACK, 0, 2, 0, 0) + op(CALLBACK, 0, 3, 0, 0) + op(WAIT, 40) +
        op(ROUTE_SETTER, 0, 0, 3, 1) + op(WAIT, 40) + scan_parameter(0, 2) + scan(0) +
        op(CALLBACK, 0, 0, 200, 0) + op(CALLBACK, 0, 6, 200, 0) + op(WAIT, 10) +
        op(DISCONNECT, 0),
    "snaps-mono-and-colour":
        [1, 1] + connect(0, [0, 1]) + op(SNAP_SINGLE, 0, 0, 0) + op(SNAP_SINGLE, 0, 1, 0) +
        op(SNAP_RGB, 0, 0, 0) + op(SNAP_RGB, 0, 1, 0) + op(SNAP_GROUP, 0, 4, 1) +
        op(SNAP_GROUP_RGB, 0, 1) + op(DISCONNECT, 0),
    "firmware-and-splash":
        [0, 0] + connect(0, [0]) + firmware(0, 2, "line one\nline two\n\x00\x01\x02\n", 0, 0) +
        firmware(0, 1, "") + firmware(0, 3, "x", 200) + op(DISCONNECT, 0),
    "argument-edges":
        [0, 0] + connect(0, [0, 1]) +
        op(CAMERA_SETTER, 0, 0, 0, DOUBLES_NAN) + op(CAMERA_SETTER, 0, 1, 0, DOUBLES_INF) +
        op(CAMERA_SETTER, 0, 0, 0, DOUBLES_MAX) + op(CAMERA_SETTER, 0, 0, 1, *any_int(-2**31)) +
        op(CAMERA_SETTER, 0, 1, 6, FLOATS_NAN, FLOATS_INF) +
        op(CAMERA_SETTER, 0, 220, 3, *any_int(2**31 - 1)) + op(CAMERA_SETTER, 0, 0, 5, 200) +
        op(ROUTE_SETTER, 0, 2, 0, 200, *any_int(65535)) + op(ROUTE_SETTER, 0, 200, 1, 0) +
        op(ROUTE_GETTER, 0, 2, 0) + op(ROUTE_GETTER, 0, 199, 2) + op(PROJECTOR, 0, 0, 192) +
        op(PROJECTOR, 0, 0, 194) + op(PROJECTOR, 0, 3, *any_int(-1)) +
        op(MISC, 0, 3, *any_int(1024), *any_int(1280), 3) + op(MISC, 0, 4, *any_int(5)) +
        op(MISC, 0, 5, 0, *any_int(10001)) + op(MISC, 0, 7, 4) + op(MISC, 0, 8, 5, 0) +
        op(STATUS_TEXT, 7, 1) + op(STATUS_TEXT, 196, 1) + op(STATUS_TEXT, 3, 0) +
        op(DISCONNECT, 0),
    "close-cameras-then-scan-and-reconnect":
        [0, 0] + connect(0, [0, 1]) + op(CLOSE_CAMERAS, 0) + scan(0) + op(SNAP_SINGLE, 0, 0, 0) +
        op(RECONNECT, 0) + scan_parameter(0, 2) + scan(0) + op(AUTO_RECONNECT, 0, 1, 1, 3, 1, 0, 1) +
        op(DISCONNECT, 0),
    "split-and-raw-colour":
        [2, 1] + connect(0, [0, 1, 1, 2]) + op(CALLBACK, 0, 4, 0, 0) + op(CALLBACK, 0, 5, 0, 0) +
        op(WAIT, 30) + scan_parameter(0, 2) + scan(0) + op(SCAN_IMAGES, 0, 1, 0) +
        op(SNAP_SINGLE, 0, 1, 0) + op(SNAP_SINGLE, 0, 2, 0) + op(SNAP_RGB, 0, 3, 0) +
        op(SNAP_GROUP_RGB, 0, 1) + op(DISCONNECT, 0),
    "odd-cameras":
        [3, 0] + connect(0, [3]) + connect(0, [0, 1, 2]) + op(CAMERA_SETTER, 0, 1, 4, 1) +
        scan_parameter(0, 2) + scan(0) + op(SNAP_GROUP, 0, 4, 1) + op(SNAP_RGB, 0, 0, 0) +
        op(CAMERA_GETTER, 0, 2, 6) + op(DISCONNECT, 0),
    "enumeration-and-firmware-version":
        [0, 0] + op(CAMERA_QUERY, 0, 0, 2) + op(CAMERA_QUERY, 0, 165, 0) + op(CAMERA_QUERY, 1, 0) +
        op(CAMERA_QUERY, 2, 0) + op(CAMERA_QUERY, 2, 129) + op(CAMERA_QUERY, 2, 128) +
        op(FIRMWARE_VERSION, 0, 0, 0) + op(FIRMWARE_VERSION, 0, MODE_PICK["E7STRIPE"], 0) +
        op(FIRMWARE_VERSION, 0, MODE_PICK[None], 0) + connect(0, [0]) +
        op(FIRMWARE_VERSION, 0, MODE_PICK[None], 0) + op(DISCONNECT, 0),
    "unequal-vectors-and-long-lists":
        [0, 0] + connect(0, [0, 1], shape=224) + connect(0, [0, 1], shape=225) +
        connect(0, [0, 1], shape=228) + connect(0, [0, 208]) + connect(0, [0, 1, 0, 1, 0]) +
        op(CAMERA_GETTER, 0, 3, 5, 0) + scan_parameter(0, 2) + scan(0) + op(DISCONNECT, 0),
    "faults-between-calls":
        [0, 0] + connect(0, [0, 1]) + fail_next(0, "zetaScan") + scan_parameter(0, 2) + scan(0) +
        op(CALLBACK, 0, 6, 0, 0) + op(FAULT, 4, 0, 0, 0xC0, 1) + op(WAIT, 30) +
        op(FAULT, 1, 1) + op(SNAP_SINGLE, 0, 0, 0) + scan(0) + op(FAULT, 2, 1) +
        op(FAULT, 3, 1, 0, 0, 0) + fail_next(1, "SnapShot", 1, 1) + op(SNAP_GROUP, 0, 4, 1) +
        op(FAULT, 5) + op(RECONNECT, 0) + op(DISCONNECT, 0),
    "board-unplugged":
        [1, 0] + connect(0, [0, 1]) + op(FAULT, 1, 0) + op(PROJECTOR, 0, 0, 4) +
        op(ROUTE_SETTER, 0, 0, 0, 5) + op(SNAP_RGB, 0, 1, 0) + op(FIRMWARE_VERSION, 0, 0, 0) +
        op(FAULT, 2, 0) + op(RECONNECT, 0) + op(DISCONNECT, 0) + connect(0, [0]) +
        op(DISCONNECT, 0),
    "board-that-cannot-be-opened":
        [0, 0] + connect(0, [0], path=BAD_PATHS["sim:board1"]) +
        connect(0, [0], path=BAD_PATHS["null"]) + op(FIRMWARE_VERSION, 0, 0, 212) +
        connect(0, [0]) + op(DISCONNECT, 0),
}


def main():
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
    os.makedirs(folder, exist_ok=True)
    for name in os.listdir(folder):
        os.remove(os.path.join(folder, name))
    for name, program in SEEDS.items():
        data = bytes(b & 0xFF for b in program)
        with open(os.path.join(folder, name), "wb") as f:
            f.write(data)
    print(f"{len(SEEDS)} seeds written to {folder}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
