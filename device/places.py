"""Where the simulated device's parts lie: in the project's tree, or as a package has installed them."""

import os

DEVICE = os.path.dirname(os.path.realpath(__file__))
PROJECT = os.path.dirname(DEVICE)  # of a checkout

ROOTFS = os.path.join(DEVICE, "rootfs")
DEFAULT_ENV = os.path.join(DEVICE, "default-env")  # the boot environment of a new device

# What the device keeps; the stage with the installed daemon; services of its own that the machine does not have
# installed; and what its programs find at the same path inside.
if os.path.exists(os.path.join(PROJECT, "CMakeLists.txt")):
    DEFAULT_STATE = os.path.join(PROJECT, "build/device")
    DEFAULT_INSTALL = os.path.join(PROJECT, "build/release/stage")
    PACKAGES = os.path.join(PROJECT, "build/device-packages")
    SEEN_INSIDE = PROJECT
else:
    DEFAULT_STATE = "/var/lib/nodekeep-device/state"
    DEFAULT_INSTALL = os.path.join(DEVICE, "stage")
    PACKAGES = "/var/lib/nodekeep-device/packages"
    SEEN_INSIDE = DEVICE
