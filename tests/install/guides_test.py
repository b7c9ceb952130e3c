"""Compiles the C code in README.md and in the guides, with what their text says that the caller has.

Usage: guides_test.py <source folder>
"""
import pathlib
import re
import subprocess
import sys
import unittest

SOURCE = pathlib.Path(sys.argv[1])

# What stands around the blocks of a page, in their order; None: the block is whole.
AROUND = {
    "README.md": [None],
    "docs/other-primitives.md": [
        "void use(const Qor32f* left, Qor32f* subbands, Qor32f* out)",
        "void use(Qor32f* spectrum, const Qor32s* bandOffset, Qor32s predictedBands, QorAACIcsInfo ics)",
    ],
    "docs/sbr.md": [
        "Qor64s use(Qor32sc alpha, Qor32sc z)",
        "int nextFrame(Qor32f*); void use(Qor32f* pcm, const Qor32f* window320, Qor32s kx)",
    ],
}


def blocks(page):
    """Fenced C, and what is indented by four behind an empty line and looks like C."""
    fenced = re.findall(r"```c\n(.*?)```", page, re.DOTALL)
    indented = re.findall(r"(?<=\n\n)((?:    .*\n|\n)+)", re.sub(r"```.*?```", "", page, flags=re.DOTALL))
    return fenced + [block for block in indented if re.search(r";$|/\*|\bqors\w+\(", block, re.MULTILINE)]


def program(block, around):
    if around is None:
        return block
    if ";" not in block:
        block = "return " + block.replace("/*", "; /*")
    return f"#include <qorac.h>\n#include <stdlib.h>\n#include <string.h>\n{around} {{\n{block}}}\n"


class Guides(unittest.TestCase):
    def test_every_block_of_code_compiles(self):
        pages = [SOURCE / "README.md", SOURCE / "HACKING.md", *sorted((SOURCE / "docs").glob("*.md"))]
        for page in pages:
            name = str(page.relative_to(SOURCE))
            found = blocks(page.read_text())
            self.assertEqual(len(found), len(AROUND.get(name, [])), f"blocks of code in {name}")
            for number, (block, around) in enumerate(zip(found, AROUND.get(name, []))):
                with self.subTest(page=name, block=number):
                    compiler = subprocess.run(
                        ["cc", "-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only",
                         f"-I{SOURCE / 'include'}", "-x", "c", "-"],
                        input=program(block, around), capture_output=True, text=True)
                    self.assertEqual(compiler.returncode, 0, compiler.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
