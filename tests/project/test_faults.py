"""The faults that scripts/mutation-check plants have their places in the sources as they are."""
import importlib.machinery
import importlib.util
import pathlib
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture(scope="module")
def check():
    sys.path.insert(0, str(ROOT / "scripts"))
    loader = importlib.machinery.SourceFileLoader("mutation_check", str(ROOT / "scripts" / "mutation-check"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


def test_every_planted_fault_has_its_place_and_changes_it(check):
    planted = list(check.planted_faults(ROOT))
    assert len(planted) >= 150
    for fault in planted:
        text = (ROOT / fault["file"]).read_text()
        assert text.replace(fault["from"], fault["to"], 1) != text, fault["name"]
        assert set(fault["tests"]) <= {*check.TESTS, *check.MORE_TESTS}, fault["name"]


def test_every_area_has_faults_in_files_that_exist(check):
    areas = {fault["area"] for fault in check.faults(ROOT)}
    assert areas == set(check.AREAS)


def test_every_fault_that_changes_nothing_is_still_there(check):
    """Otherwise its row in docs/coverage.md is stale, and what took its place is tried as if a test could notice it."""
    left_out = check.equivalent(ROOT)
    assert left_out
    assert left_out <= {fault["id"] for fault in check.faults(ROOT)}


def test_a_fault_without_its_place_is_found(check, monkeypatch):
    monkeypatch.setattr(check, "FAULTS", [("gone", "Frame.cpp", "no such text", "", "")])
    with pytest.raises(SystemExit, match="no place for the planted fault 'gone'"):
        list(check.planted_faults(ROOT))
