"""How large the stripped program is, and which of its subsystems that comes from."""

import collections
import os
import re
import subprocess
import tempfile

OWN = re.compile(r"/src/(\w+)/")
INLINE = "inline code of Qt and the C++ library"
REST = "tables for linker and exceptions, headers"


def sizes(program):
    """The bytes of the stripped program, and how many of them are each subsystem's, the largest first."""
    with tempfile.TemporaryDirectory() as place:
        subprocess.run(["strip", "-o", f"{place}/stripped", program], check=True)
        size = os.path.getsize(f"{place}/stripped")
    command = ["nm", "--line-numbers", "--print-size", "--defined-only", program]
    symbols = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout
    shares = collections.Counter()
    for bytes_of_symbol, source in re.findall(r"^\S+ (\S+) [^bB] \S+\t(.*)$", symbols, re.MULTILINE):
        subsystem = OWN.search(source)
        shares[subsystem[1] if subsystem else INLINE] += int(bytes_of_symbol, 16)
    shares[REST] = size - shares.total()
    return size, shares.most_common()
