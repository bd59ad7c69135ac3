"""The install tree holds what README tells of it."""

import glob
import os
import re

import simdevice


def test_all_files_of_the_table_in_readme_are_there(stage):
    with open(os.path.join(simdevice.PROJECT, "README.md")) as file:
        listed = re.findall(r"^\| `stage/(.*?)`", file.read(), re.MULTILINE)

    assert simdevice.DAEMON in listed
    assert [path for path in listed if not glob.glob(os.path.join(stage, path))] == []
