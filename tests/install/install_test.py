#!/usr/bin/env python3
"""Installs into a folder and uses what stands there: both ways to find the library, the tools and
their manual pages.

    install_test.py source-folder build-folder
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import examples_test

SOURCE, BUILD = (pathlib.Path(arg) for arg in sys.argv[1:3])


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, text=True, **options)


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.prefix = pathlib.Path(cls.folder.name) / "prefix"
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)
        cls.library = next(cls.prefix.rglob("libqoracn8.so")).parent

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def test_the_links_lead_to_both_libraries(self):
        for name in ("libqoracn8", "libqorcorex64"):
            link = self.library / f"{name}.so"
            self.assertTrue(link.is_symlink())
            self.assertEqual(link.resolve().name, f"{name}.so.6.1")

    def test_examples_by_pkg_config(self):
        out = pathlib.Path(self.folder.name) / "by-pkg-config"
        out.mkdir()
        environment = dict(os.environ, PKG_CONFIG_PATH=str(self.library / "pkgconfig"))
        flags = run("pkg-config", "--cflags", "--libs", "qorac", env=environment).stdout.split()
        for source in (SOURCE / "examples").glob("*.c"):
            run("cc", "-std=c99", "-O2", "-Wall", "-Wextra", "-Werror", source, "-o", out / f"example_{source.stem}",
                *flags, "-lm", f"-Wl,-rpath,{self.library}")
        examples_test.check(out)

    def test_examples_by_cmake(self):
        out = pathlib.Path(self.folder.name) / "by-cmake"
        run("cmake", "-S", SOURCE / "examples", "-B", out, f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", out)
        examples_test.check(out)

    def test_the_version_that_is_asked_for(self):
        cmake = (SOURCE / "CMakeLists.txt").read_text()
        version = re.search(r"project\(qorac VERSION (\S+)", cmake).group(1)
        environment = dict(os.environ, PKG_CONFIG_PATH=str(self.library / "pkgconfig"))
        self.assertEqual(run("pkg-config", "--modversion", "qorac", env=environment).stdout.strip(), version)
        consumer = pathlib.Path(self.folder.name) / "consumer"
        consumer.mkdir()
        for asked, found in (("6.1", True), ("6.0", False), ("7.0", False)):
            (consumer / "CMakeLists.txt").write_text(
                "cmake_minimum_required(VERSION 3.16)\nproject(consumer C)\n"
                f"find_package(qorac {asked} REQUIRED)\n")
            done = subprocess.run(["cmake", "-S", consumer, "-B", consumer / asked,
                                   f"-DCMAKE_PREFIX_PATH={self.prefix}"], capture_output=True)
            self.assertEqual(done.returncode == 0, found, asked)

    def test_the_tools_run_and_have_manual_pages(self):
        for tool in ("qordec", "qorenc"):
            help_text = run(self.prefix / "bin" / tool, "--help").stdout
            page = next(self.prefix.rglob(f"{tool}.1"))
            text = page.read_text()
            for option in re.findall(r"--([a-z]+)", help_text):
                self.assertIn(f"-{option}", text, f"{tool} --{option}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
