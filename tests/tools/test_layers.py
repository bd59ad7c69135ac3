"""What tools/check-layers finds in a tree of sources."""

import os
import subprocess

import pytest
from simdevice import PROJECT

TOOL = os.path.join(PROJECT, "tools/check-layers")


@pytest.fixture
def tree(tmp_path):
    """A tree that is in order."""
    write(tmp_path, "base/File.h", "#pragma once\n")
    write(tmp_path, "bootenv/Store.cpp", '#include "base/File.h"\n#include "bootenv/Store.h"\n#include <QString>\n')
    write(tmp_path, "bootenv/CMakeLists.txt", "add_library(bootenv)\ntarget_link_libraries(bootenv PUBLIC base)\n")
    return tmp_path


def write(tree, path, text):
    (tree / path).parent.mkdir(exist_ok=True)
    (tree / path).write_text(text)


def findings(tree):
    result = subprocess.run([TOOL, tree], capture_output=True, text=True, check=False)
    lines = result.stdout.splitlines()
    assert result.returncode == (1 if lines else 0)
    return [line.partition(": ")[2] for line in lines]


def test_the_projects_own_sources_are_in_order():
    assert findings(os.path.join(PROJECT, "src")) == []


def test_a_tree_in_order_is_silent(tree):
    assert findings(tree) == []


def test_an_include_from_above_is_found(tree):
    write(tree, "base/File.cpp", '#include "base/File.h"\n#include "bootenv/Store.h"\n')

    assert findings(tree) == ["includes from bootenv, which does not stand below base"]


def test_an_include_from_beside_is_found(tree):
    write(tree, "plc/Reset.cpp", '#include "network/Port.h"\n')

    assert findings(tree) == ["includes from network, which does not stand below plc"]


def test_a_library_from_above_is_found(tree):
    write(tree, "base/CMakeLists.txt", "target_link_libraries(base\n    PUBLIC Qt6::Core\n    PRIVATE system)\n")

    assert findings(tree) == ["needs system, which does not stand below base"]


def test_a_source_from_another_folder_is_found(tree):
    write(tree, "bootenv/CMakeLists.txt", "add_library(bootenv\n    ../base/File.cpp)\n")

    assert findings(tree) == ["leads out of its folder"]


def test_a_new_folder_needs_a_layer(tree):
    write(tree, "misc/Things.cpp", "")

    assert findings(tree) == ["has no layer"]


@pytest.mark.parametrize("name, limit", [("Store.h", 99), ("Other.cpp", 249), ("FwUpdateSettings.h", 150)])
def test_a_file_that_has_grown_too_long_is_found(tree, name, limit):
    write(tree, f"bootenv/{name}", "\n" * limit)
    assert findings(tree) == []

    write(tree, f"bootenv/{name}", "\n" * (limit + 1))
    assert findings(tree) == [f"{limit + 1} lines, and {limit} are the limit"]
