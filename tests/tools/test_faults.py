"""The faults that tools/mutate seeds."""

import os

import faults
import pytest
from simdevice import PROJECT

SOURCE = """\
#include "a/B.h" // if (x) sync();

void B::save()
{
    // first(); second();
    if (isOpen && size > 0)
        return;
    connect(&timer, &QTimer::timeout, this,
            [this] { save(); });
    file.write(text);
    file.flush();
    runTool(tool, u"rm"_s, {path}, noLimitMs);
    runTool(tool, u"cp"_s, {path});
    flags = O_RDWR | O_CREAT;
    qDebug("saved %d", 1);
}
"""


def seeded(kind):
    found = [fault for fault in faults.faults_in("src/a/B.cpp", SOURCE) if fault.kind == kind]
    return [(fault.line, faults.brief(fault.old), faults.brief(fault.new)) for fault in found]


@pytest.mark.parametrize(
    ("kind", "expected"),
    [
        ("condition turned", [(6, "isOpen && size > 0", "!(isOpen && size > 0)"), (6, "&&", "||")]),
        ("sync, close left out", [(11, "file.flush();", ";")]),
        ("flag left out", [(14, "| O_CREAT", "(nothing)")]),
        ("wait changed", [(12, "noLimitMs", "toolTimeoutMs"), (13, "(nothing)", ", noLimitMs")]),
        ("text changed", [(12, "(nothing)", "x"), (13, "(nothing)", "x")]),
        ("limit by one", [(6, ">", ">="), (6, "0", "1")]),
    ],
)
def test_each_kind_is_found_where_it_belongs(kind, expected):
    assert seeded(kind) == expected


def test_a_connection_of_several_lines_is_left_out_whole():
    ((line, old, new),) = seeded("signal not connected")

    assert (line, new) == (8, ";")
    assert old.endswith("[this] { save(); });")


def test_neighbours_change_places():
    assert (10, "file.write(text); file.flush();", "file.flush(); file.write(text);") in seeded("effect out of turn")


def test_a_fault_changes_its_place_alone():
    flush = next(fault for fault in faults.faults_in("src/a/B.cpp", SOURCE) if fault.old == "file.flush();")

    assert flush.seeded_in(SOURCE) == SOURCE.replace("    file.flush();", "    ;")


def test_the_sources_are_full_of_them():
    path = os.path.join(PROJECT, "src/firmware/CarryOver.cpp")
    with open(path) as file:
        found = list(faults.faults_in(path, file.read()))

    assert len({fault.kind for fault in found}) >= 7
    assert len(found) > 50
