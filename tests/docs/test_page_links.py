"""Every link of the pages leads to a file of the project, and to a heading that is there."""

import glob
import os
import re

import pytest
from simdevice import PROJECT

PAGES = sorted(
    os.path.relpath(path, PROJECT)
    for pattern in ("*.md", "docs/*.md", "device/*.md")
    for path in glob.glob(os.path.join(PROJECT, pattern))
)
LINK = re.compile(r"\]\(([^)\s]+)\)")


def text_of(path):
    """A page without its examples."""
    with open(path) as file:
        return re.sub(r"^ *```.*?^ *```$", "", file.read(), flags=re.DOTALL | re.MULTILINE)


def anchors(path):
    """What the headings of a page are called in links."""
    headings = re.findall(r"^#+ (.*)$", text_of(path), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def broken(page):
    place = os.path.join(PROJECT, page)
    for link in LINK.findall(text_of(place)):
        if link.startswith("https://"):
            continue
        path, _, anchor = link.partition("#")
        target = os.path.join(os.path.dirname(place), path) if path else place
        if not os.path.exists(target) or (anchor and anchor not in anchors(target)):
            yield link


@pytest.mark.parametrize("page", PAGES)
def test_every_link_leads_somewhere(page):
    assert list(broken(page)) == []


def test_links_are_found():
    assert {"README.md", "docs/integration.md", "device/README.md"} <= set(PAGES)
    assert sum(len(LINK.findall(text_of(os.path.join(PROJECT, page)))) for page in PAGES) > 60
