"""What bench/run makes of its measurements: which ratios it lets pass, and what it writes into its page."""

import importlib

import pytest
import simdevice


@pytest.fixture(autouse=True)
def search_path(monkeypatch):
    monkeypatch.syspath_prepend(f"{simdevice.PROJECT}/bench")


def row(own, peer):
    return importlib.import_module("rounds").Row("start-up", "", "ms", {"nodekeep": own, "peer": peer})


def worse(own, peer, known):
    return importlib.import_module("baseline").worse([row(own, peer)], known)


def test_a_ratio_that_is_worse_by_half_is_told():
    assert worse([3.1, 3.2, 3.3], [1, 1, 1], {"start-up, peer": 2}) == ["start-up, peer: 3.10, where 2.00 was reached"]


def test_a_ratio_that_is_a_little_worse_passes():
    assert worse([2.8, 2.9, 3.0], [1, 1, 1], {"start-up, peer": 2}) == []


@pytest.mark.parametrize("own, peer", [([2, 9, 9], [1, 1, 1]), ([9, 9, 9], [1, 5, 5])])
def test_what_spoils_only_the_medians_or_only_the_best_passes(own, peer):
    assert worse(own, peer, {"start-up, peer": 2}) == []


def test_a_ratio_that_nobody_has_accepted_is_told():
    assert worse([1], [1], {}) == ["start-up, peer: 1.00, and bench/baseline.json does not know it"]


def test_a_table_takes_the_place_between_its_marks_alone():
    page = importlib.import_module("page")
    begin, end = "<!-- size: written by bench/run -->\n", "<!-- size: end -->\n"

    text = page.between_marks(f"before\n{begin}old\n{end}behind\n", "size", "new\n")

    assert text == f"before\n{begin}\nnew\n\n{end}behind\n"


def test_a_page_without_the_marks_is_refused():
    with pytest.raises(ValueError, match="no place for: size"):
        importlib.import_module("page").between_marks("text\n", "size", "new\n")
