"""What bench/run writes into its page."""

import importlib

import pytest
import simdevice


@pytest.fixture(autouse=True)
def search_path(monkeypatch):
    monkeypatch.syspath_prepend(f"{simdevice.PROJECT}/bench")


def test_a_table_takes_the_place_between_its_marks_alone():
    page = importlib.import_module("page")
    begin, end = "<!-- size: written by bench/run -->\n", "<!-- size: end -->\n"

    text = page.between_marks(f"before\n{begin}old\n{end}behind\n", "size", "new\n")

    assert text == f"before\n{begin}\nnew\n\n{end}behind\n"


def test_a_page_without_the_marks_is_refused():
    with pytest.raises(ValueError, match="no place for: size"):
        importlib.import_module("page").between_marks("text\n", "size", "new\n")
