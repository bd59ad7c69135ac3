"""What is installed for those who build against the platform library leads CMake and pkg-config to it."""

import os
import subprocess

import pytest

SOURCE = """\
#include <qmz/Upstart.h>

int main()
{
    Upstart::restartNameservices();
}
"""

CMAKE_PROJECT = """\
cmake_minimum_required(VERSION 3.25)
project(program LANGUAGES CXX)
find_package(QMZ {version} REQUIRED)
add_executable(program program.cpp)
target_link_libraries(program PRIVATE QMZ::QMZ)
"""

# The library may be built with a sanitizer, whose symbols only the daemon has.
LINK = "-Wl,--allow-shlib-undefined"


@pytest.fixture
def source(tmp_path):
    (tmp_path / "program.cpp").write_text(SOURCE)
    return tmp_path


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, **options)


def configured(source, stage, version):
    (source / "CMakeLists.txt").write_text(CMAKE_PROJECT.format(version=version))
    options = [f"-DCMAKE_PREFIX_PATH={stage}/usr", f"-DCMAKE_EXE_LINKER_FLAGS={LINK}"]
    return run("cmake", "-G", "Ninja", "-S", source, "-B", source, *options, check=False)


def needed_libraries(program):
    return run("readelf", "--dynamic", program, check=True).stdout


def test_by_cmake(source, stage):
    assert configured(source, stage, "1.0").returncode == 0

    run("cmake", "--build", source, check=True)

    assert "[libQMZ.so.1]" in needed_libraries(source / "program")


def test_by_cmake_not_for_another_major_version(source, stage):
    result = configured(source, stage, "2.0")

    assert result.returncode != 0
    assert "QMZConfig.cmake, version: 1." in result.stderr


def test_by_pkg_config(source, stage):
    environment = {**os.environ, "PKG_CONFIG_PATH": f"{stage}/usr/lib/pkgconfig"}
    flags = run("pkg-config", "--cflags", "--libs", "qmz", env=environment, check=True).stdout.split()

    run("g++", "-fPIC", "program.cpp", "-o", "program", *flags, LINK, cwd=source, check=True)

    assert "[libQMZ.so.1]" in needed_libraries(source / "program")
