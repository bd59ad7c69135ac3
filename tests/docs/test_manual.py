"""The manual: what tools/manpage makes of an interface file, what it refuses, and that all of it is installed."""

import glob
import os
import re
import subprocess

import pytest
from simdevice import PROJECT

TOOL = os.path.join(PROJECT, "tools/manpage")
FILES = sorted(glob.glob(os.path.join(PROJECT, "docs/dbus/*.xml")))
HANDWRITTEN = os.path.join(PROJECT, "docs/nodekeep.8")

FILE = """\
<node>
  <!--
    local.Lamp:
    @short_description: a lamp
    @objects: /lamp, /lamps/*

    It shines. See `local.System`.

    .It is `-x` \\ ~.
  -->
  <interface name="local.Lamp">
    <annotation name="org.freedesktop.DBus.Property.EmitsChangedSignal" value="const"/>
    <!--
      percent:

      How bright it is:

      - 0: dark
      - 100: as bright
        as it can be
    -->
    <property name="percent" type="i" access="readwrite"/>
    <!--
      broken:

      It is dark for good.
    -->
    <signal name="broken"/>
    <!--
      blink:
      @times: how often,
        at most 3
      @colour: any text

      It blinks.

      Returns: whether it did
    -->
    <method name="blink">
      <arg type="b" direction="out"/>
      <arg name="times" type="u" direction="in"/>
      <arg name="colour" type="s" direction="in"/>
    </method>
    <!--
      off:

      It goes out.
    -->
    <method name="off"/>
  </interface>
</node>
"""

PAGE = r""".\" Made by tools/manpage from local.Lamp.xml
.TH local.Lamp 5 "" nodekeep "Interfaces on D-Bus"
.nh
.ad l
.SH NAME
local.Lamp \- a lamp
.SH SYNOPSIS
.nf
com.ozt.nodekeep \fI/lamp\fR \fBlocal.Lamp\fR
com.ozt.nodekeep \fI/lamps/*\fR \fBlocal.Lamp\fR
.fi
.SH DESCRIPTION
It shines. See \fBlocal.System\fR(5).
.PP
\&.It is \fB\-x\fR \e \(ti.
.SH PROPERTIES
The values stay the same for as long as the daemon runs.
.TP
\fBpercent\fR (i, writable)
How bright it is:
.RS
.IP \- 2
0: dark
.IP \- 2
100: as bright as it can be
.RE
.SH SIGNALS
.TP
\fBbroken\fR()
It is dark for good.
.SH METHODS
.TP
\fBblink\fR(u \fItimes\fR, s \fIcolour\fR) \(-> b
It blinks.
.RS
.TP
\fItimes\fR
how often, at most 3
.TP
\fIcolour\fR
any text
.RE
.IP
Returns whether it did.
.TP
\fBoff\fR()
It goes out.
.SH SEE ALSO
\fBbusctl\fR(1),
\fBnodekeep\fR(8)
"""


def made(directory, text):
    """What comes of a file's text: the page, None without one, and the tool's complaint."""
    source, page = directory / "file.xml", directory / "page"
    source.write_text(text)
    result = subprocess.run([TOOL, source, page], capture_output=True, text=True, check=False)
    assert page.exists() == (result.returncode == 0)
    return page.read_text() if page.exists() else None, result.stderr


def test_a_page_tells_all_that_its_file_tells(tmp_path):
    assert made(tmp_path, FILE) == (PAGE, "")


@pytest.mark.parametrize("value, told", [("false", "No change is announced"), ("true", "A change is announced")])
def test_a_page_tells_whether_changes_are_announced(tmp_path, value, told):
    page, _ = made(tmp_path, FILE.replace('"const"', f'"{value}"'))

    assert told in page


@pytest.mark.parametrize(
    "was, becomes, complaint",
    [
        ("      off:\n", "      of:\n", "off: has no comment of its own"),
        ("<!--\n      off:\n\n      It goes out.\n    -->", "", "off: has no comment of its own"),
        ("\n\n      It goes out.", "", "off: its comment does not say what it does"),
        ("      @colour: any text\n", "", "blink: its comment has other arguments"),
        ("any text\n", "any text\n      @more: none\n", "blink: its comment has other arguments"),
        ("\n\n      Returns: whether it did", "", "blink: its comment has another result"),
        ("It goes out.", "It goes out.\n\n      Returns: light", "off: its comment has another result"),
        ("bright it is:\n\n", "bright it is:\n", "percent: a list needs an empty line above it"),
        ("    @objects: /lamp, /lamps/*\n", "", "local.Lamp: needs @short_description and @objects"),
        ("local.Lamp:", "local.Light:", "local.Lamp: has no comment of its own"),
        ("</node>", "", "no file of one interface: no element found: line 52, column 0"),
    ],
)
def test_a_file_that_leaves_something_out_is_refused(tmp_path, was, becomes, complaint):
    assert was in FILE

    assert made(tmp_path, FILE.replace(was, becomes)) == (None, f"{tmp_path}/file.xml: {complaint}\n")


def test_the_daemons_own_page_leads_to_each_interface():
    with open(HANDWRITTEN) as file:
        named = re.findall(r"\\fB(local[.][\w.]+)\\fR\(5\)", file.read())

    assert {f"{name}.xml" for name in named} == {os.path.basename(path) for path in FILES}


def test_interface_files_and_manual_are_installed(stage):
    share = os.path.join(stage, "usr/share")
    names = [os.path.basename(path).removesuffix(".xml") for path in FILES]

    assert sorted(os.listdir(f"{share}/dbus-1/interfaces")) == [f"{name}.xml" for name in names]
    assert sorted(os.listdir(f"{share}/man/man5")) == [f"{name}.5" for name in names]
    assert sorted(os.listdir(f"{share}/man/man8")) == ["nodekeep-check-image.8", "nodekeep.8"]
