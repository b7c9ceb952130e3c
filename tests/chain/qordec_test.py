"""Runs qordec as a user does.

Usage: qordec_test.py <qordec> <demo.mp3>
"""

import os
import random
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import wave
from pathlib import Path

QORDEC, DEMO = map(os.path.abspath, sys.argv[1:3])

BIT_RATES = [0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320]
SAMPLE_RATES = [44100, 48000, 32000]


def qordec(*arguments, **options):
    result = subprocess.run([QORDEC, *map(str, arguments)], capture_output=True, timeout=120, **options)
    if b"Sanitizer" in result.stderr or b"runtime error" in result.stderr:
        raise AssertionError(result.stderr.decode(errors="replace"))
    return result


def crc16(data):
    crc = 0xFFFF
    for byte in data:
        crc ^= byte << 8
        for _ in range(8):
            crc = (crc << 1 ^ 0x8005 if crc & 0x8000 else crc << 1) & 0xFFFF
    return crc


def frames(data):
    """The frames of an MPEG-1 Layer III stream without tags or damage."""
    position = 0
    while position + 4 <= len(data):
        rate, frequency, padding = data[position + 2] >> 4, data[position + 2] >> 2 & 3, data[position + 2] >> 1 & 1
        size = 144000 * BIT_RATES[rate] // SAMPLE_RATES[frequency] + padding
        yield data[position:position + size]
        position += size


def side_info_size(frame):
    return 17 if frame[3] >> 6 == 3 else 32


def free_format_with_crc(frame):
    """The same frame in free format and with a CRC word."""
    head = bytes([frame[0], frame[1] & 0xFE, frame[2] & 0x0F, frame[3]])
    side = frame[4:4 + side_info_size(frame)]
    return head + struct.pack(">H", crc16(head[2:] + side)) + frame[4:]


class Qordec(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        data = Path(DEMO).read_bytes()
        # The demo starts with an ID3v2 tag.
        if data[:3] == b"ID3":
            size = (data[6] << 21 | data[7] << 14 | data[8] << 7 | data[9]) + 10
            data = data[size:]
        if data[-128:-125] == b"TAG":
            data = data[:-128]
        cls.all_frames = list(frames(data))
        cls.audio_frames = cls.all_frames[1:]  # the first one is the Info frame

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.out = self.folder / "out.wav"

    def decode(self, data, *options):
        """Decodes bytes; gives the WAV's parameters and samples, and the summary."""
        source = self.folder / "in.mp3"
        source.write_bytes(data)
        result = qordec(source, self.out, *options)
        self.assertEqual(result.returncode, 0, result.stderr)
        with wave.open(str(self.out)) as file:
            return file.getparams(), file.readframes(file.getnframes()), result.stdout.decode()

    def concealed(self, summary):
        return int(re.search(r"(\d+) concealed", summary)[1])

    def test_decodes_the_demo_without_its_delays(self):
        parameters, samples, summary = self.decode(Path(DEMO).read_bytes())
        self.assertEqual((parameters.nchannels, parameters.sampwidth, parameters.framerate), (2, 2, 44100))
        self.assertEqual(parameters.nframes, 8 * 44100)
        self.assertGreater(len(set(samples)), 200)
        self.assertIn("MPEG-1 Layer III, 44100 Hz, joint stereo", summary)
        self.assertIn(f"0:08.000 in {len(self.audio_frames)} frames, 0 concealed", summary)
        self.assertIn("times real time", summary)
        self.assertIn(str(self.out), summary)

    def test_without_an_info_frame_every_frame_sounds_in_full(self):
        parameters, _, _ = self.decode(b"".join(self.audio_frames))
        self.assertEqual(parameters.nframes, 1152 * len(self.audio_frames))

    def test_tags_and_junk_do_not_count(self):
        bare, samples, _ = self.decode(b"".join(self.audio_frames))
        id3 = b"ID3\x03\x00\x00" + bytes([0, 0, 2, 0]) + b"\xff\xfb\x90\x00" * 64
        ape = b"APETAGEX" + struct.pack("<IIII8x", 2000, 32 + 4, 1, 0xA0000000) + b"item" + \
              b"APETAGEX" + struct.pack("<IIII8x", 2000, 32 + 4, 1, 0x80000000)
        id1 = b"TAG" + bytes(125)
        tagged = id3 + b"junk" * 100 + b"".join(self.audio_frames) + ape + id1
        self.assertEqual(self.decode(tagged)[:2], (bare, samples))

    def test_pipes_carry_input_and_output(self):
        _, samples, _ = self.decode(Path(DEMO).read_bytes())
        result = qordec("-", "-", input=Path(DEMO).read_bytes())
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout[:4] + result.stdout[8:16], b"RIFFWAVEfmt ")
        self.assertEqual(result.stdout[44:], samples)
        self.assertIn(b"times real time", result.stderr)
        self.assertEqual(qordec("-q", "-", "-", input=Path(DEMO).read_bytes()).stderr, b"")

    def test_free_format_and_crc(self):
        _, samples, _ = self.decode(b"".join(self.audio_frames))
        free = [free_format_with_crc(frame) for frame in self.audio_frames]
        _, free_samples, summary = self.decode(b"".join(free), "--strict")
        self.assertEqual(free_samples, samples)
        self.assertEqual(self.concealed(summary), 0)

        broken = bytearray(free[20])
        broken[5] ^= 1  # of the CRC word: nothing that the decoder needs
        stream = b"".join(free[:20]) + broken + b"".join(free[21:])
        self.assertEqual(self.decode(stream)[1], samples)
        self.assertEqual(self.concealed(self.decode(stream, "--strict")[2]), 1)

    def test_a_lost_frame_is_concealed(self):
        lost = self.audio_frames[:50] + self.audio_frames[51:]
        _, _, summary = self.decode(b"".join(lost))
        self.assertLess(self.concealed(summary), 6)
        overwritten = self.audio_frames[:50] + [bytes(len(self.audio_frames[50]))] + self.audio_frames[51:]
        parameters, _, summary = self.decode(b"".join(overwritten))
        self.assertEqual(parameters.nframes, 1152 * len(self.audio_frames))
        self.assertGreaterEqual(self.concealed(summary), 1)

    def test_a_cut_file_keeps_its_end(self):
        """The end of a cut file is music: the encoder's padding is not there to be trimmed."""
        parameters, _, _ = self.decode(b"".join(self.all_frames[:101]))
        self.assertGreater(parameters.nframes, 1152 * 100 - 2000)

    def test_damaged_streams_end_without_a_crash(self):
        generator = random.Random(5)
        data = Path(DEMO).read_bytes()
        for run in range(6):
            damaged = bytearray(data)
            for _ in range(generator.randint(1, 300)):
                damaged[generator.randrange(len(damaged))] = generator.randrange(256)
            result = qordec("-", "-", input=bytes(damaged[:generator.randint(len(damaged) // 2, len(damaged))]))
            self.assertIn(result.returncode, (0, 1))

    def fails_with(self, message, *arguments, **options):
        result = qordec(*arguments, **options)
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr.decode(), f"^qordec: {message}\n$")
        leftovers = [f.name for f in self.folder.iterdir() if f.name.startswith("out")]
        self.assertEqual(leftovers, [])

    def test_bad_input_and_output(self):
        self.fails_with("cannot open /nonexistent.mp3: No such file or directory", "/nonexistent.mp3", self.out)
        self.fails_with(f"{self.folder} is a folder", self.folder, self.out)
        self.fails_with("no MP3 or AAC audio found", "-", self.out, input=b"")
        self.fails_with("no MP3 or AAC audio found", "-", self.out, input=b"These are not the bytes of music." * 999)
        self.fails_with("cannot write /nonexistent/x.wav: No such file or directory", DEMO, "/nonexistent/x.wav")
        self.fails_with("cannot write /dev/full: No space left on device", DEMO, "/dev/full")

    def test_wrong_use_has_a_status_of_its_own(self):
        for arguments in ((), (DEMO,), (DEMO, self.out, "more"), ("--nonsense", DEMO, self.out)):
            result = qordec(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, b""), arguments)
            self.assertIn(b"--help", result.stderr)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_version(self):
        result = qordec("--version")
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stdout.decode(), r"^qordec 6\.1")

    def test_a_link_stays_and_leads_to_the_output(self):
        link = self.folder / "link.wav"
        self.out.touch()
        link.symlink_to(self.out.name)
        self.assertEqual(qordec("-q", DEMO, link).returncode, 0)
        self.assertTrue(link.is_symlink())
        self.assertEqual(self.out.read_bytes()[:4], b"RIFF")
        self.assertEqual(sorted(self.folder.iterdir()), [link, self.out])

    def test_the_device_of_standard_output_is_standard_output(self):
        piped = qordec(DEMO, "-").stdout
        self.assertEqual(qordec(DEMO, "/dev/stdout").stdout, piped)
        with self.out.open("wb") as file:
            result = subprocess.run([QORDEC, "-q", DEMO, "/dev/stdout"], stdout=file, timeout=60)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(self.out.read_bytes(), piped)

    def test_a_full_disk_leaves_nothing_behind(self):
        limit = 100_000
        result = subprocess.run(["bash", "-c", f"trap '' XFSZ; ulimit -f {limit // 1024}; exec \"$@\"", "-", QORDEC, DEMO, self.out],
                                capture_output=True, timeout=60)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"cannot write", result.stderr)
        self.assertEqual([f.name for f in self.folder.iterdir()], [])

    def test_an_existing_file_survives_a_failure(self):
        self.out.write_text("precious")
        self.assertEqual(qordec("-", self.out, input=b"junk" * 100).returncode, 1)
        self.assertEqual(self.out.read_text(), "precious")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
