"""What tools/release refuses and makes, in a small project of its own: all but .ci/run and the build is real."""

import os
import re
import shutil
import subprocess

import pytest
from simdevice import PROJECT

KEPT = "packaging/abi/libQMZ.so.1.abi"
CHANGELOG = """# Changelog

## [Unreleased]

## [1.10.0] - 2026-11-22

### Added

- Something.

## [1.9.3] - 2026-10-01
"""
DEBIAN = """nodekeep (1.10.0) unstable; urgency=medium

  * See CHANGELOG.md.

 -- The nodekeep authors <nodekeep@example.org>  Sun, 22 Nov 2026 12:00:00 +0000
"""
CI_RUN = """#!/bin/sh
git rev-parse HEAD >>"$HOME/passed"
[ ! -e "$HOME/change" ] || touch meanwhile
[ ! -e "$HOME/fail" ]
"""


class Project:
    """A project that is to become 1.10.0 after 1.9.3."""

    def __init__(self, path, stage):
        self.home = path
        self.root = path / "project"
        shutil.copytree(os.path.join(PROJECT, "packaging/abi"), self.root / "packaging/abi")
        for folder in ("tools", "device"):
            (self.root / folder).mkdir()
        for name in ("tools/release", "tools/abi", "tools/common.sh", "device/packages.list", "CMakeLists.txt"):
            shutil.copy2(os.path.join(PROJECT, name), self.root / name)
        self.change("CMakeLists.txt", r"(project\(nodekeep VERSION )[0-9.]+", r"\g<1>1.10.0")
        self.write(".gitignore", "/build/\n")
        self.write(".ci/run", CI_RUN).chmod(0o755)
        self.write("CHANGELOG.md", CHANGELOG)
        self.write("debian/changelog", DEBIAN)
        # The build is of no interest here, and takes long.
        self.write("../fakes/cmake", "#!/bin/sh\n").chmod(0o755)
        library = self.write("build/release/src/platform/libQMZ.so.1", "")
        shutil.copy(f"{stage}/usr/lib/libQMZ.so.1", library)
        self.environment = {
            "PATH": f"{path}/fakes:/usr/sbin:/usr/bin:/sbin:/bin",
            "LANG": "C.UTF-8",
            "HOME": str(path),
            **{f"GIT_{who}_{what}": "x" for who in ("AUTHOR", "COMMITTER") for what in ("NAME", "EMAIL")},
        }
        self.git("init", "--quiet", "--initial-branch=main")
        self.commit("Work")
        self.git("tag", "v1.9.3")
        self.git("tag", "v1.10.0-rc1")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def change(self, name, pattern, replacement):
        text, count = re.subn(pattern, replacement, (self.root / name).read_text(), flags=re.MULTILINE)
        assert count
        self.write(name, text)

    def run(self, *command, **options):
        return subprocess.run(
            command, cwd=self.root, env=self.environment, capture_output=True, text=True, check=False, **options
        )

    def git(self, *arguments):
        result = self.run("git", *arguments)
        assert result.returncode == 0, result.stderr
        return result.stdout

    def commit(self, subject):
        self.git("add", ".")
        self.git("commit", "--quiet", "--allow-empty", "-m", subject)

    def release(self, *arguments):
        return self.run("tools/release", *arguments)

    def state(self):
        """What a release could change."""
        return self.git("for-each-ref"), self.git("status", "--porcelain"), list(self.root.glob("build/release-*"))

    def passed(self):
        """The commits for which the tests have been called."""
        told = self.home / "passed"
        return told.read_text().split() if told.exists() else []


@pytest.fixture
def project(tmp_path, stage):
    return Project(tmp_path, stage)


def refusal(project, *arguments):
    """The line in which a release is refused; nothing has been made."""
    before = project.state()

    result = project.release(*arguments)

    assert result.returncode == 1
    assert project.state() == before
    (line,) = result.stderr.splitlines()
    return line


def test_what_is_no_version_is_refused(project):
    for arguments in ([], ["1.10"], ["v1.10.0"], ["1.010.0"], ["1.10.0", "--no-checks"]):
        assert refusal(project, *arguments) == "Usage: tools/release VERSION, such as 1.2.3"


def test_a_release_comes_from_main_as_it_is_committed(project):
    project.write("forgotten", "")
    assert refusal(project, "1.10.0") == "There are changes that are not committed, see git status."

    project.commit("Forgotten")
    project.change(".ci/run", "fail", "failed")
    assert refusal(project, "1.10.0") == "There are changes that are not committed, see git status."

    project.git("checkout", "--quiet", "-b", "other")
    assert refusal(project, "1.10.0") == "A release is made on the branch main."
    project.git("checkout", "--quiet", "--detach")
    assert refusal(project, "1.10.0") == "A release is made on the branch main."


def test_a_release_comes_after_the_last_one(project):
    for version in ("1.9.3", "1.9.2", "1.8.10", "0.10.0"):
        assert refusal(project, version) == f"{version} does not come after 1.9.3, the last release."


@pytest.mark.parametrize(
    "name, pattern, replacement, told",
    [
        ("CMakeLists.txt", r"1\.10\.0", "1.10.01", "CMakeLists.txt has another version than 1.10.0."),
        (
            "CHANGELOG.md",
            r" - 2026-11-22",
            "",
            'CHANGELOG.md has no heading "## [1.10.0] - YEAR-MONTH-DAY".',
        ),
        (
            "CHANGELOG.md",
            r"^## \[Unreleased\]\n",
            "## [Unreleased]\n\n### Fixed\n\n- Another thing.\n",
            'CHANGELOG.md still has something under "Unreleased".',
        ),
        (
            "debian/changelog",
            r"\(1\.10\.0\)",
            "(1.9.3)",
            "debian/changelog begins with another version.",
        ),
        ("debian/changelog", "unstable", "UNRELEASED", "debian/changelog has 1.10.0 as UNRELEASED."),
        (
            KEPT,
            r"<elf-symbol name='_ZN12SysCfgAccess11getInstanceEv'.*\n",
            "",
            "packaging/abi is not the binary interface of these sources, see tools/abi.",
        ),
    ],
    ids=["cmake", "undated", "unreleased", "debian", "debian-unreleased", "abi"],
)
def test_what_does_not_fit_the_version_is_refused(project, name, pattern, replacement, told):
    project.change(name, pattern, replacement)
    project.commit("Change")

    assert refusal(project, "1.10.0") == told
    assert project.passed() == []


@pytest.mark.parametrize(
    "pattern, replacement",
    [
        ("_ZN12SysCfgAccess11getInstanceEv", "_ZN12SysCfgAccess11getInstanceEi"),
        ("'BusOff' value='64'", "'BusOff' value='65'"),
    ],
    ids=["symbol", "enumeration"],
)
def test_a_library_that_lost_something_is_refused(project, pattern, replacement):
    project.change(KEPT, pattern, replacement)
    project.commit("As it was")
    project.git("tag", "--force", "v1.9.3")
    shutil.copy(os.path.join(PROJECT, KEPT), project.root / KEPT)
    project.commit("As it is")

    told = "What was built against libQMZ of 1.9.3 may not work any more: raise its soname."
    assert refusal(project, "1.10.0") == told


def test_a_new_soname_takes_a_new_first_part(project):
    project.git("mv", KEPT, KEPT.replace("so.1", "so.2"))
    project.change("tools/abi", "so.1.abi", "so.2.abi")
    project.commit("As it is")

    told = "libQMZ has another soname than that of 1.9.3: raise the first part of the version."
    assert refusal(project, "1.10.0") == told


def test_what_fails_its_tests_is_no_release(project):
    (project.home / "fail").touch()

    assert refusal(project, "1.10.0") == ".ci/run has failed, so there is no release."
    assert len(project.passed()) == 1


def test_a_tree_that_changes_meanwhile_is_not_released(project):
    (project.home / "change").touch()

    result = project.release("1.10.0")

    assert result.returncode == 1
    assert result.stderr == "The tree has changed meanwhile, so there is no release.\n"
    assert project.git("tag", "--list", "v1.10.0") == ""


def make(project):
    """Makes the release, and returns what it printed and the bytes of the sources."""
    result = project.release("1.10.0")
    assert (result.returncode, result.stderr) == (0, "")
    return result.stdout, (project.root / "build/release-1.10.0/nodekeep-1.10.0.tar.xz").read_bytes()


def test_a_release_is_tagged_and_packed_always_in_the_same_bytes(project):
    # An addition to the library is no obstacle.
    project.change(KEPT, r"<elf-symbol name='_ZN12SysCfgAccess11getInstanceEv'.*\n", "")
    project.commit("As it was")
    project.git("tag", "--force", "v1.9.3")
    shutil.copy(os.path.join(PROJECT, KEPT), project.root / KEPT)
    project.commit("As it is")
    commit = project.git("rev-parse", "HEAD").strip()

    output, sources = make(project)

    assert project.passed() == [commit]
    assert project.git("rev-parse", "v1.10.0^{commit}").strip() == commit
    assert (
        project.git("tag", "--list", "--format=%(objecttype) %(contents)", "v1.10.0").strip() == "tag nodekeep 1.10.0"
    )
    place = project.root / "build/release-1.10.0"
    assert sorted(os.listdir(place)) == ["nodekeep-1.10.0.tar.xz", "nodekeep-1.10.0.tar.xz.sha256"]
    check = ["sha256sum", "--check", "--strict", "nodekeep-1.10.0.tar.xz.sha256"]
    assert subprocess.run(check, cwd=place, capture_output=True, check=False).returncode == 0
    listed = project.run("tar", "--list", "--file", place / "nodekeep-1.10.0.tar.xz").stdout.split()
    files = [name for name in listed if not name.endswith("/")]
    assert files == [f"nodekeep-1.10.0/{name}" for name in project.git("ls-files").split()]
    assert "  git push origin main v1.10.0\n" in output

    assert refusal(project, "1.10.0") == "1.10.0 does not come after 1.10.0, the last release."

    project.git("tag", "--delete", "v1.10.0")
    shutil.rmtree(place)
    project.git("config", "tar.umask", "0077")
    project.environment["XZ_DEFAULTS"] = "--check=sha256"
    assert make(project)[1] == sources


def test_the_first_release_comes_after_none(project):
    for tag in ("v1.9.3", "v1.10.0-rc1"):
        project.git("tag", "--delete", tag)

    make(project)
