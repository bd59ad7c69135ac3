"""What tools/abi finds where a library and the interface that is kept differ."""

import os
import re
import shutil
import subprocess

import pytest
from simdevice import PROJECT

KEPT = "packaging/abi/libQMZ.so.1.abi"


def dropped(symbol):
    return rf"<elf-symbol name='{symbol}'.*\n", ""


@pytest.fixture
def tree(tmp_path):
    """The tool with a kept interface of its own."""
    shutil.copytree(os.path.join(PROJECT, "packaging/abi"), tmp_path / "packaging/abi")
    for folder in ("tools", "device"):
        (tmp_path / folder).mkdir()
    for name in ("tools/abi", "tools/common.sh", "device/packages.list"):
        shutil.copy2(os.path.join(PROJECT, name), tmp_path / name)
    return tmp_path


@pytest.mark.parametrize(
    "pattern, replacement, told",
    [
        # The library has more, which may be an addition or what should be hidden.
        (*dropped("_ZN12SysCfgAccess11getInstanceEv"), "[A] 'method SysCfgAccess* SysCfgAccess::getInstance()'"),
        # It lacks something.
        (r"_ZN12SysCfgAccess11getInstanceEv", "_ZN12SysCfgAccess11getInstanceEi", "1 Removed"),
        (r"vtable-offset='12'", "vtable-offset='13'", "the vtable offset of method"),
        (r"name='GenGlobAccess' size-in-bits='8'", "name='GenGlobAccess' size-in-bits='64'", "type size changed"),
        (r"name='BusOff' value='64'", "name='BusOff' value='65'", "< <enumerator name='BusOff' value='65'/>"),
    ],
    ids=["more", "less", "virtual", "size", "enumeration"],
)
def test_a_difference_is_told(tree, stage, pattern, replacement, told):
    text = (tree / KEPT).read_text()
    assert re.search(pattern, text)
    (tree / KEPT).write_text(re.sub(pattern, replacement, text))
    library = os.path.relpath(f"{stage}/usr/lib/libQMZ.so.1", tree)

    result = subprocess.run(["tools/abi", library], cwd=tree, capture_output=True, text=True, check=False)

    assert result.returncode == 1
    assert told in result.stdout


def test_what_is_no_library_is_refused(tree):
    (tree / "text").write_text("text\n")

    result = subprocess.run(["tools/abi", "text"], cwd=tree, capture_output=True, text=True, check=False)

    assert result.returncode == 1
    assert "no library that can be read" in result.stderr
