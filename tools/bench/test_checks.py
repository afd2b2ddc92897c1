"""The four checks of the comparison for testinfra. LIBRARY names the path of the library."""
import os


def test_package(host):
    assert host.package("ksh").is_installed


def test_library(host):
    assert host.file(os.environ["LIBRARY"]).is_file


def test_kernel(host):
    release = host.check_output("uname -r").split("-")[0]
    assert [int(number) for number in release.split(".")] >= [4, 18, 0]


def test_space(host):
    assert int(host.check_output("df -Pk /tmp").splitlines()[1].split()[3]) >= 2000000
