"""Checks that the header documents every exported function in full.

Usage: check_reference.py <source folder> <test_arguments>

Doxygen reads the header as for the reference. Each function must have a brief description, every
parameter with its direction, its statuses and its source, and the statuses must stand in the order in
which the function tests for them, which `test_arguments --statuses` lists.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from collections import defaultdict
from pathlib import Path
from xml.etree import ElementTree

SOURCE, ARGUMENTS = map(Path, sys.argv[1:3])
SKIPPED = 77

# Functions that share a comment need not have all of its parameters, and a status can stand for
# several checks that do not follow each other.
EXPECTED_WARNINGS = re.compile("argument '.*' of command @param is not found in the argument list of|"
                               "has multiple documentation sections")


def text(element):
    return "".join(element.itertext()).strip()


class Description:
    """What the reference says of one function."""

    def __init__(self, member):
        self.brief = text(member.find("briefdescription"))
        self.arguments = [p.findtext("declname") for p in member.iter("param") if p.find("declname") is not None]
        self.parameters = {}  # name: (direction, text)
        self.statuses = []  # (status, condition)
        for parameters in member.iter("parameterlist"):
            for item in parameters.iter("parameteritem"):
                said = text(item.find("parameterdescription"))
                for name in item.iter("parametername"):
                    if parameters.get("kind") == "param":
                        self.parameters[name.text] = (name.get("direction"), said)
                    else:
                        self.statuses.append((text(name), said))
        self.sources = [text(s.find("para")) for s in member.iter("simplesect") if s.findtext("title") == "Source"]


def reference(folder):
    """The descriptions by function, and what Doxygen warned of."""
    settings = (SOURCE / "docs/reference/Doxyfile").read_text() + f"""
        OUTPUT_DIRECTORY = {folder}
        GENERATE_HTML = NO
        GENERATE_XML = YES
        XML_PROGRAMLISTING = NO
        WARN_LOGFILE =
    """
    run = subprocess.run(["doxygen", "-"], input=settings, cwd=SOURCE, check=True, capture_output=True, text=True,
                         env={**os.environ, "QORAC_VERSION": ""})
    descriptions = {}
    for page in Path(folder).glob("xml/*.xml"):
        for member in ElementTree.parse(page).iter("memberdef"):
            if member.get("kind") == "function":
                descriptions[member.findtext("name")] = Description(member)
    return descriptions, run.stderr.splitlines()


def tested_statuses():
    """The statuses in the order of the checks: a list of lists by function."""
    lists = defaultdict(list)
    run = subprocess.run([ARGUMENTS, "--statuses"], check=True, capture_output=True, text=True)
    for line in run.stdout.splitlines():
        name, *statuses = line.split()
        lists[name].append([int(status) for status in statuses])
    return lists


def status_values():
    header = (SOURCE / "include/qorac.h").read_text()
    return {name: int(value) for name, value in re.findall(r"\b(qorSts\w+) = (-?\d+)", header)}


def is_subsequence(part, whole):
    rest = iter(whole)
    return all(item in rest for item in part)


class Reference(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as folder:
            cls.descriptions, cls.warnings = reference(folder)

    def test_every_exported_function_is_there(self):
        exported = re.findall(r"^\s*(qor\w+);", (SOURCE / "src/exports.map").read_text(), re.MULTILINE)
        self.assertEqual(sorted(self.descriptions), sorted(exported))

    def test_doxygen_is_content(self):
        self.assertEqual([w for w in self.warnings if not EXPECTED_WARNINGS.search(w)], [])

    def test_brief_and_source(self):
        for name, description in self.descriptions.items():
            with self.subTest(name):
                self.assertTrue(description.brief)
                self.assertEqual(len(description.sources), 1)
                self.assertTrue(description.sources[0])

    def test_every_parameter_has_its_direction_and_meaning(self):
        for name, description in self.descriptions.items():
            for argument in description.arguments:
                with self.subTest(name, argument=argument):
                    self.assertIn(argument, description.parameters)
                    direction, said = description.parameters[argument]
                    self.assertIn(direction, ("in", "out", "inout"))
                    self.assertTrue(said)

    def test_every_parameter_that_a_comment_names_is_one_of_its_functions(self):
        arguments = defaultdict(set)
        for description in self.descriptions.values():
            arguments[description.brief, tuple(description.sources)].update(description.arguments)
        for name, description in self.descriptions.items():
            with self.subTest(name):
                self.assertLessEqual(set(description.parameters),
                                     arguments[description.brief, tuple(description.sources)])

    def test_statuses_have_conditions_and_stand_in_the_order_of_the_checks(self):
        values, tested = status_values(), tested_statuses()
        for name, description in self.descriptions.items():
            if name == "qoracGetLibVersion":  # returns a record
                continue
            with self.subTest(name):
                self.assertTrue(description.statuses)
                for status, condition in description.statuses:
                    self.assertIn(status, values)
                    self.assertTrue(condition)
                listed = [values[status] for status, _ in description.statuses]
                for statuses in tested[name]:
                    self.assertTrue(is_subsequence(statuses, listed), f"{statuses} are tested, {listed} said")


if __name__ == "__main__":
    if shutil.which("doxygen") is None:
        print("doxygen is not installed")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
