"""Checks that an #include in src/ points down: families stand on transform, transform on frame, frame
on the core library, and families do not see each other.

Usage: check_layers.py <source folder>
"""

import re
import sys
import unittest
from pathlib import Path

SOURCE = Path(sys.argv[1]) / "src"
FAMILIES = ["mp3dec", "aac", "mp3enc", "sbr", "vlc", "misc"]
ALLOWED = {"frame": {"frame"}, "transform": {"frame", "transform"},
           **{family: {"frame", "transform", family} for family in FAMILIES}}
PUBLIC = {"qorac.h", "qorcore.h"}


class Layers(unittest.TestCase):
    def test_includes_point_down(self):
        files = [f for f in SOURCE.glob("*/*") if f.suffix in (".h", ".cpp")]
        self.assertGreater(len(files), 10)
        for file in files:
            floor = file.relative_to(SOURCE).parts[0]
            for include in re.findall(r'^\s*#include "([^"]+)"', file.read_text(), re.MULTILINE):
                if include not in PUBLIC:
                    self.assertIn(include.split("/")[0], ALLOWED[floor], f"{file}: {include}")

    def test_the_core_library_is_reached_through_the_memory_wrappers_only(self):
        users = {f.name for f in SOURCE.rglob("*") if f.is_file() and "qorcore.h" in f.read_text()}
        self.assertEqual(users, {"memory.cpp"})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
