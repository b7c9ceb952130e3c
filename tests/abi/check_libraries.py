"""Checks the dynamic symbols, the needed libraries and the data of the two shared libraries.

Usage: check_libraries.py <source folder> <libqoracn8> <libqorcorex64>
"""

import re
import subprocess
import sys
import unittest
from pathlib import Path

SOURCE, LIBRARY, CORE = map(Path, sys.argv[1:4])

# What the compiler's start-up code and its processor detection put into a library's data.
RUN_TIME_DATA = {"_DYNAMIC", "_GLOBAL_OFFSET_TABLE_", "__TMC_END__", "__cpu_features2", "__cpu_model",
                 "__do_global_dtors_aux_fini_array_entry", "__dso_handle",
                 "__frame_dummy_init_array_entry", "completed.0"}


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exported(library):
    """The defined dynamic symbols as a dictionary of name to type."""
    lines = run("nm", "-D", "--defined-only", library).split("\n")
    return {line.split()[2]: line.split()[1] for line in lines if line}


def listed(map_file):
    return re.findall(r"^\s*(qor\w+);", map_file.read_text(), re.MULTILINE)


def declared(header):
    text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.DOTALL)
    return set(re.findall(r"\b(qor(?:s|ac)[A-Z]\w*)\s*\(", text))


def needed(library):
    return set(re.findall(r"NEEDED.*\[(.*)\]", run("readelf", "-d", library)))


class Libraries(unittest.TestCase):
    def test_exports_are_the_listed_functions(self):
        for library, folder in ((LIBRARY, "src"), (CORE, "core")):
            symbols = exported(library)
            names = listed(SOURCE / folder / "exports.map")
            self.assertEqual(sorted(symbols), sorted(names))
            self.assertEqual(set(symbols.values()), {"T"})

    def test_declarations_and_exports_agree(self):
        self.assertEqual(declared(SOURCE / "include" / "qorac.h"),
                         set(listed(SOURCE / "src" / "exports.map")))

    def test_only_the_core_library_and_libc_are_needed(self):
        self.assertLessEqual(needed(LIBRARY), {"libqorcorex64.so.6.1", "libm.so.6", "libc.so.6"})
        self.assertIn("libqorcorex64.so.6.1", needed(LIBRARY))
        self.assertLessEqual(needed(CORE), {"libc.so.6"})

    def test_names_and_run_path(self):
        dynamic = run("readelf", "-d", LIBRARY)
        self.assertIn("soname: [libqoracn8.so.6.1]", dynamic)
        self.assertIn("runpath: [$ORIGIN]", dynamic)
        self.assertIn("soname: [libqorcorex64.so.6.1]", run("readelf", "-d", CORE))

    def test_no_writable_data_of_our_own(self):
        for library in (LIBRARY, CORE):
            sections = dict(re.findall(r"\[\s*(\d+)\]\s+(\.data|\.bss)\s", run("readelf", "-SW", library)))
            symbols = re.findall(r"^\s*\d+: \w+\s+\d+ OBJECT\s+\w+\s+\w+\s+(\d+) (\S+)",
                                 run("readelf", "-sW", library), re.MULTILINE)
            ours = {name for section, name in symbols if section in sections} - RUN_TIME_DATA
            self.assertEqual(ours, set())

    def test_no_products_are_contracted_but_in_transforms(self):
        """g++ 12 makes one rounding of alternating sums of products in spite of -ffp-contract=off."""
        function = ""
        for line in run("objdump", "-d", "-C", "--no-show-raw-insn", LIBRARY).split("\n"):
            if match := re.match(r"[0-9a-f]+ <(.*)>:", line):
                function = match[1]
            elif re.search(r"\tvfn?m(add|sub)", line):
                self.assertRegex(function, "(?i)fft|dct|qmf(analyse|synthesize)")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
