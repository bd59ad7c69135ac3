"""The pages in docs/ name the members of the interface files, all of them as they are, and no others."""

import glob
import os
import re

import interfacefile
import pytest
from simdevice import PROJECT

INTERFACES = [interfacefile.read(path) for path in sorted(glob.glob(os.path.join(PROJECT, "docs/dbus/*.xml")))]
PAGES = {os.path.basename(path): path for path in sorted(glob.glob(os.path.join(PROJECT, "docs/*.md")))}

# A table of members tells in its first column, each in code font as entry() has it; a "*" behind them has its meaning
# on the page.
HEAD = re.compile(r"\| (?:Members?|Method|Property) of `(local[.][\w.]+)`[^|]*\|")
ENTRY = r"`[^`]+`(?: \([^)]*\))?"
ENTRIES = re.compile(rf"\| ({ENTRY}(?:, {ENTRY})*)(?: \*)? \|")

# What is written like a member in a text and is another program's, or the name of an object.
FOREIGN = {"fileUploaded", "fileUploaded(s path, s name)", "apps()", "version()", "sethostname(2)"}
OBJECTS = {path.rpartition("/")[2] for interface in INTERFACES for path in interface.objects}
LIKE_A_MEMBER = re.compile(r"[a-z][a-z0-9]*[A-Z]\w*|\w+\(.*")


def text_of(page):
    """A page without its examples."""
    with open(PAGES[page]) as file:
        return re.sub(r"^```.*?^```$", "", file.read(), flags=re.DOTALL | re.MULTILINE)


def entry(member):
    if member.kind == "property":
        return f"`{member.name}`{str(member).removeprefix(member.name)}"
    return f"`{member}`" + (" (signal)" if member.kind == "signal" else "")


def tables(page):
    """The interface of each table of members, and the lines below its head."""
    lines = iter(text_of(page).splitlines())
    for line in lines:
        head = HEAD.match(line)
        if head:
            assert next(lines).startswith("|---")
            rows = []
            for row in lines:
                if not row.startswith("|"):
                    break
                rows.append(row)
            yield head[1], rows


def entries(page, interface):
    for name, rows in tables(page):
        if name == interface:
            for row in rows:
                told = ENTRIES.match(row)
                assert told, f"{page}: {row}"
                yield from re.findall(ENTRY, told[1])


def client_pages():
    return [page for page in PAGES if list(tables(page))]


@pytest.mark.parametrize("interface", INTERFACES, ids=lambda interface: interface.name)
def test_the_pages_have_each_member_and_no_other(interface):
    told = {each for page in PAGES for each in entries(page, interface.name)}

    assert told == {entry(member) for member in interface.members}


def test_no_table_is_about_an_interface_that_is_not_there():
    about = {name for page in PAGES for name, _ in tables(page)}

    assert about == {interface.name for interface in INTERFACES}


@pytest.mark.parametrize("page", client_pages())
def test_what_is_written_like_a_member_in_a_page_is_one(page):
    check(text_of(page))


@pytest.mark.parametrize("interface", INTERFACES, ids=lambda interface: interface.name)
def test_what_is_written_like_a_member_in_an_interface_file_is_one(interface):
    told = [interface.text, *((each.text, each.arguments, each.result) for each in interface.members)]
    check(str(told))


def check(text):
    members = [member for interface in INTERFACES for member in interface.members]
    known = {member.name for member in members} | {str(member) for member in members} | FOREIGN | OBJECTS
    known |= {interface.name for interface in INTERFACES}

    written = re.findall(r"`([^`\n]+)`", text)
    assert {each for each in written if LIKE_A_MEMBER.fullmatch(each)} - known == set()
    assert {each for each in written if each.startswith("local.")} - known == set()
