"""Keeps the stand-ins off real machines."""

import os
import sys

MARKER = "/run/simulated-device"


def require_device():
    """Ends the program with status 1 and one line when this is not the simulated device."""
    if not os.path.exists(MARKER):
        program = os.path.basename(sys.argv[0])
        sys.exit(f"{program}: a stand-in of the simulated device, refusing to run on a real machine")
