"""The commands for one machine in docs/batch.md, run as they stand on a folder of files.

Usage: batch_test.py <qordec> <folder of both tools> <docs/batch.md> <demo folder>
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

QORDEC, TOOLS, PAGE, DEMO = (Path(arg).resolve() for arg in sys.argv[1:5])


def commands():
    section = PAGE.read_text().split("## One machine")[1].split("\n## ")[0]
    return re.findall(r"```sh\n(.*?)```", section, re.S)


class Batch(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.root = Path(self.folder.name)

    def tearDown(self):
        self.folder.cleanup()

    def shell(self, command, check=True):
        environment = dict(os.environ, PATH=f"{TOOLS}:{os.environ['PATH']}", HOME=self.folder.name)
        return subprocess.run(["bash", "-c", command], cwd=self.root, env=environment, check=check,
                              capture_output=True, text=True, timeout=120)

    def test_decoding_a_tree_and_what_failed(self):
        decode, failed, _ = commands()
        (self.root / "with space").mkdir()
        good = [self.root / "a.mp3", self.root / "with space" / "b.mp3"]
        for path in good:
            shutil.copy(DEMO / "demo.mp3", path)
        (self.root / "bad.mp3").write_bytes(b"no audio")
        self.assertNotEqual(self.shell(decode, check=False).returncode, 0)
        expected = subprocess.run([QORDEC, "-q", DEMO / "demo.mp3", "-"], check=True, capture_output=True).stdout
        for path in good:
            self.assertEqual(path.with_suffix(".wav").read_bytes()[44:], expected[44:])
        self.assertFalse((self.root / "bad.wav").exists())
        list_failed, retry = failed.strip().splitlines()
        self.assertIn("bad.wav", self.shell(list_failed).stdout)
        shutil.copy(DEMO / "demo.mp3", self.root / "bad.mp3")
        self.shell(retry)
        self.assertTrue((self.root / "bad.wav").exists())

    def test_decoding_goes_on_where_it_was_interrupted(self):
        for name in ("b", "c"):
            shutil.copy(DEMO / "demo.mp3", self.root / f"{name}.mp3")
        self.shell(commands()[0])
        done = {path: path.stat().st_ino for path in self.root.glob("*.wav")}
        self.assertEqual(len(done), 2)
        (self.root / "c.wav").unlink()
        shutil.copy(DEMO / "demo.mp3", self.root / "a.mp3")
        self.shell(commands()[0])
        self.assertEqual(sorted(path.name for path in self.root.glob("*.wav")), ["a.wav", "b.wav", "c.wav"])
        self.assertEqual((self.root / "b.wav").stat().st_ino, done[self.root / "b.wav"])

    def test_encoding_through_a_pipe(self):
        shutil.copy(DEMO / "demo.aac", self.root / "c.aac")
        self.shell(commands()[2])
        self.assertGreater((self.root / "c.again.mp3").stat().st_size, 3 * 192000 / 8)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
