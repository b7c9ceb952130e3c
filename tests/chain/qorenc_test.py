"""Runs qorenc as a user does, and plays what it wrote with independent decoders.

Usage: qorenc_test.py <qorenc> <qordec>
"""

import array
import math
import os
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import wave
from pathlib import Path

QORENC, QORDEC = map(os.path.abspath, sys.argv[1:3])

BIT_RATES = [32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320]
SAMPLE_RATES = [44100, 48000, 32000]
DELAY, DECODER_DELAY = 800, 529


def run(*command, **options):
    result = subprocess.run([str(c) for c in command], capture_output=True, timeout=120, **options)
    if b"Sanitizer" in result.stderr or b"runtime error" in result.stderr:
        raise AssertionError(result.stderr.decode(errors="replace"))
    return result


# --- signals -----------------------------------------------------------------------------------


def silence(i, rate):
    return 0


def square(i, rate):
    return 32767 if i * 440 * 2 // rate % 2 else -32768


def clicks(i, rate):
    return 32767 if i % (rate // 8) == 1000 else 0


noise_source = random.Random(1)


def noise(i, rate):
    return noise_source.randint(-32768, 32767)


def speech(i, rate):
    """Pulses of a voice, in syllables."""
    t = i / rate
    voice = sum(math.sin(2 * math.pi * 130 * h * t) / h for h in range(1, 25))
    return int(7000 * voice * max(0, math.sin(2 * math.pi * 3 * t)))


def music(i, rate):
    t = i / rate
    return int(sum(5000 * math.sin(2 * math.pi * f * t) for f in (220, 277.2, 329.6, 880, 2637)))


SIGNALS = [silence, square, clicks, noise, speech, music]


def write_wav(path, signal, rate, channels, samples):
    """The second channel lags behind the first one."""
    left = [signal(i, rate) for i in range(samples)]
    data = array.array("h")
    for i in range(samples):
        for c in range(channels):
            data.append(max(-32768, min(32767, left[i - 20 * c])))
    with wave.open(str(path), "wb") as out:
        out.setnchannels(channels)
        out.setsampwidth(2)
        out.setframerate(rate)
        out.writeframes(data.tobytes())


def read_wav(path):
    with wave.open(str(path), "rb") as file:
        data = array.array("h", file.readframes(file.getnframes()))
        return data, file.getnchannels(), file.getframerate(), file.getnframes()


# --- streams -----------------------------------------------------------------------------------


def skip_tag(data):
    if data[:3] != b"ID3":
        return data
    return data[(data[6] << 21 | data[7] << 14 | data[8] << 7 | data[9]) + 10:]


def frames(data):
    position = 0
    while position < len(data):
        assert data[position] == 0xFF and data[position + 1] & 0xFE == 0xFA, "no sync at %d" % position
        rate = BIT_RATES[(data[position + 2] >> 4) - 1]
        frequency = SAMPLE_RATES[data[position + 2] >> 2 & 3]
        size = 144000 * rate // frequency + (data[position + 2] >> 1 & 1)
        assert position + size <= len(data)
        yield data[position:position + size]
        position += size


def crc16(data):
    crc = 0xFFFF
    for byte in data:
        crc ^= byte << 8
        for _ in range(8):
            crc = (crc << 1 ^ 0x8005 if crc & 0x8000 else crc << 1) & 0xFFFF
    return crc


class Bits:
    def __init__(self, data):
        self.value, self.left = int.from_bytes(data, "big"), 8 * len(data)

    def get(self, n):
        self.left -= n
        return self.value >> self.left & (1 << n) - 1


class Qorenc(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.wav, self.mp3 = self.folder / "in.wav", self.folder / "out.mp3"

    def encode(self, *options):
        result = run(QORENC, self.wav, self.mp3, *options)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        self.assertEqual(result.stderr, b"")
        return result.stdout.decode()

    def check_stream(self, bit_rate, rate, channels, samples, crc=False):
        """Frame sizes, the Info frame and the chain of main data."""
        info, *audio = frames(skip_tag(self.mp3.read_bytes()))
        side_size = 17 if channels == 1 else 32
        tag = info[4 + side_size:]
        self.assertEqual(tag[:4], b"Info")
        count, size = struct.unpack(">II", tag[8:16])
        self.assertEqual(count, len(audio))
        self.assertEqual(size, len(info) + sum(map(len, audio)))
        delays = int.from_bytes(tag[141:144], "big")
        self.assertEqual(delays >> 12, DELAY)
        self.assertEqual(1152 * count - DELAY - (delays & 4095), samples)
        self.assertGreaterEqual(delays & 4095, DECODER_DELAY)
        # The mean rate is exact to the byte at every frame.
        total = 0
        for i, frame in enumerate(audio):
            total += len(frame)
            self.assertEqual(total, (i + 1) * 144000 * bit_rate // rate)

        slots = 0  # main data bytes of the frames before
        end_of_last = 0
        limit = max(0, min(7680 - 8 * (144000 * bit_rate // rate), 4088)) // 8
        for frame in audio:
            head = 4 + 2 * crc
            self.assertEqual(frame[1] & 1, 0 if crc else 1)
            side_info = frame[head:head + side_size]
            if crc:
                self.assertEqual(crc16(frame[2:4] + side_info), int.from_bytes(frame[4:6], "big"))
            bits = Bits(side_info)
            begin = bits.get(9)
            bits.get((5 if channels == 1 else 3) + 4 * channels)
            lengths = []
            for _ in range(2 * channels):
                lengths.append(bits.get(12))
                self.assertLessEqual(bits.get(9), 288)
                bits.get(12)
                self.assertEqual(bits.get(1), 0)  # long blocks
                bits.get(25)
            self.assertLessEqual(begin, limit)
            start = slots - begin
            self.assertGreaterEqual(start, end_of_last)
            slots += len(frame) - head - side_size
            end_of_last = start + (sum(lengths) + 7) // 8
            self.assertLessEqual(end_of_last, slots)
        return audio

    def decoded(self, name, *command):
        out = self.folder / (name + ".wav")
        result = run(*[out if c == "OUT" else c for c in command])
        text = (result.stdout + result.stderr).decode(errors="replace")
        self.assertEqual(result.returncode, 0, text)
        for word in ("warning", "error", "illegal", "lost", "resync", "invalid", "concealed, "):
            self.assertNotIn(word, text.lower(), name)
        return read_wav(out)

    def check_decoders(self, rate, channels, samples):
        gapless, plain = (samples,), (1152 * (len(list(frames(skip_tag(self.mp3.read_bytes())))) - 1),)
        expected = {"mpg123": gapless, "ffmpeg": gapless, "qordec": gapless, "madplay": plain}
        commands = {
            "mpg123": ("mpg123", "-w", "OUT", self.mp3),
            "ffmpeg": ("ffmpeg", "-nostdin", "-v", "warning", "-y", "-i", self.mp3, "OUT"),
            "madplay": ("madplay", "-v", "-o", "wave:" + str(self.folder / "madplay.wav"), self.mp3),
            "qordec": (QORDEC, "--strict", self.mp3, "OUT"),
        }
        signals = {}
        for name, command in commands.items():
            if name != "qordec" and shutil.which(name) is None:
                continue
            data, nch, frequency, count = self.decoded(name, *command)
            self.assertEqual((nch, frequency), (channels, rate), name)
            # One decoder hands out the Info frame as well.
            self.assertIn(count, (*expected[name], *(n + 1152 for n in plain)) if name == "madplay" else expected[name], name)
            signals[name] = data
        return signals

    def test_every_bit_rate_sampling_rate_and_mode(self):
        samples = 9000
        combination = 0
        for rate in SAMPLE_RATES:
            for mode, channels in (("mono", 1), ("stereo", 2), ("joint", 2)):
                wavs = []
                for signal in SIGNALS:
                    path = self.folder / ("%s.wav" % signal.__name__)
                    write_wav(path, signal, rate, 2, samples)
                    wavs.append(path)
                for bit_rate in BIT_RATES:
                    self.wav = wavs[combination % len(wavs)]
                    combination += 1
                    with self.subTest(rate=rate, mode=mode, bit_rate=bit_rate, signal=self.wav.stem):
                        crc = combination % 3 == 0
                        self.encode("-q", "-b", bit_rate, "-m", mode, *(["--crc"] if crc else []))
                        self.check_stream(bit_rate, rate, channels, samples, crc)
                        self.check_decoders(rate, channels, samples)
                combination += 1

    def test_every_signal_at_the_ends_of_the_range(self):
        for signal in SIGNALS:
            write_wav(self.wav, signal, 44100, 2, 12000)
            for bit_rate in (32, 320):
                for mode, channels in (("mono", 1), ("joint", 2)):
                    with self.subTest(signal=signal.__name__, bit_rate=bit_rate, mode=mode):
                        self.encode("-q", "-b", bit_rate, "-m", mode)
                        self.check_stream(bit_rate, 44100, channels, 12000)
                        self.check_decoders(44100, channels, 12000)

    def test_a_minute_keeps_the_mean_rate(self):
        write_wav(self.wav, silence, 44100, 1, 60 * 44100)
        self.encode("-q", "-b", 128)
        self.check_stream(128, 44100, 1, 60 * 44100)

    def test_what_is_decoded_is_what_was_encoded(self):
        write_wav(self.wav, music, 44100, 2, 20000)
        source = read_wav(self.wav)[0]
        for options, least in ((("-b", 128), 20), (("-b", 320), 35), (("-b", 192, "-m", "stereo"), 25)):
            self.encode("-q", *options)
            for name, data in self.check_decoders(44100, 2, 20000).items():
                if name == "madplay":  # it keeps the delay
                    continue
                power = sum(x * x for x in source)
                error = sum((x - y) ** 2 for x, y in zip(source, data))
                self.assertGreater(10 * math.log10(power / error), least, (name, options))

    def test_other_sampling_rates_are_converted(self):
        for rate, encoded in ((22050, 44100), (24000, 48000), (96000, 48000), (88200, 44100), (8000, 32000), (37800, 44100)):
            write_wav(self.wav, music, rate, 1, rate // 2)
            self.encode("-q")
            count = self.decoded("qordec", QORDEC, self.mp3, "OUT")
            self.assertEqual(count[2], encoded)
            self.assertAlmostEqual(count[3] / encoded, 0.5, delta=0.001)

    def test_modes(self):
        for channels, mode, bits in ((1, "auto", 3), (2, "auto", 1), (1, "joint", 1), (2, "stereo", 0), (2, "mono", 3)):
            write_wav(self.wav, speech, 44100, channels, 5000)
            self.encode("-q", "--mode", mode)
            for frame in frames(self.mp3.read_bytes()):
                self.assertEqual(frame[3] >> 6, bits)
                if bits != 1:
                    self.assertEqual(frame[3] >> 4 & 3, 0)

    def test_summary(self):
        write_wav(self.wav, music, 44100, 2, 44100)
        text = self.encode()
        for part in ("joint stereo, 128 kbit/s", "1.000 s in 40 frames", "mean bit rate 127.9", "blocks: all long",
                     "mid/side", "reservoir", "times real time", "written to"):
            self.assertIn(part, text)

    def test_pipes(self):
        write_wav(self.wav, music, 44100, 2, 30000)
        self.encode("-q")
        piped = run(QORENC, "-q", "-", "-", input=self.wav.read_bytes())
        self.assertEqual((piped.returncode, piped.stderr), (0, b""))
        # All but the CRC words of the Info frame, which cannot be known up front.
        file = self.mp3.read_bytes()
        self.assertEqual(len(piped.stdout), len(file))
        first = len(next(frames(file)))
        self.assertEqual(piped.stdout[first:], file[first:])
        self.assertEqual(piped.stdout[:36 + 152], file[:36 + 152])

    def test_a_stream_of_unknown_length_has_no_info_frame(self):
        """Its writer declares the largest length."""
        for channels, largest in ((1, 0xFFFFFFFF), (2, 0xFFFFFFFF), (2, 0x7FFFF000)):
            write_wav(self.wav, music, 44100, channels, 10000)
            data = bytearray(self.wav.read_bytes())
            data[40:44] = struct.pack("<I", largest)
            piped = run(QORENC, "-q", "-", "-", input=bytes(data))
            self.assertEqual((piped.returncode, piped.stderr), (0, b""))
            self.assertNotIn(b"Info", piped.stdout)
            self.assertEqual(len(list(frames(piped.stdout))), -(-(10000 + DELAY + DECODER_DELAY) // 1152))
            # In a file the length shows.
            self.wav.write_bytes(data)
            self.encode("-q")
            self.check_stream(128, 44100, channels, 10000)

    def test_text_fields_become_a_tag(self):
        write_wav(self.wav, music, 44100, 1, 5000)
        data = bytearray(self.wav.read_bytes())
        items = b""
        for key, text in ((b"INAM", "Titel ä".encode("latin-1")), (b"IART", b"Somebody"), (b"ICMT", b"no")):
            text += b"\0" * (2 - len(text) % 2)
            items += key + struct.pack("<I", len(text)) + text
        data += b"LIST" + struct.pack("<I", 4 + len(items)) + b"INFO" + items
        data[4:8] = struct.pack("<I", len(data) - 8)
        self.wav.write_bytes(data)
        self.encode("-q")
        tagged = self.mp3.read_bytes()
        self.assertEqual(tagged[:4], b"ID3\4")
        self.assertIn(b"TPE1", tagged[:200])
        self.assertIn(b"Somebody", tagged[:200])
        self.assertIn("\3Titel ä".encode(), tagged[:200])
        self.check_stream(128, 44100, 1, 5000)
        self.check_decoders(44100, 1, 5000)

    def test_bad_input_ends_with_one_message_and_leaves_nothing(self):
        text = self.folder / "text.wav"
        text.write_text("no audio here")
        empty = self.folder / "empty.wav"
        write_wav(empty, silence, 44100, 1, 0)
        good = self.folder / "good.wav"
        write_wav(good, music, 44100, 1, 5000)
        six = self.folder / "six.wav"
        write_wav(six, silence, 44100, 6, 100)
        before = sorted(self.folder.iterdir())
        for source, target in ((text, self.mp3), (empty, self.mp3), (six, self.mp3),
                               (self.folder / "missing.wav", self.mp3), (self.folder, self.mp3),
                               (good, self.folder / "missing" / "out.mp3"), (good, "/dev/full")):
            result = run(QORENC, source, target)
            self.assertEqual(result.returncode, 1)
            self.assertTrue(result.stderr.startswith(b"qorenc: "), result.stderr)
            self.assertRegex(result.stderr, b"[^.]\n$")
            self.assertEqual(result.stderr.count(b"\n"), 1)
            self.assertEqual(sorted(self.folder.iterdir()), before)
        missing = run(QORENC, self.folder / "missing.wav", self.mp3).stderr.decode()
        self.assertEqual(missing, f"qorenc: cannot open {self.folder}/missing.wav: No such file or directory\n")
        for options in (("-b", "100"), ("-b", "128k"), ("-m", "quad"), ("-m", "2")):
            result = run(QORENC, good, self.mp3, *options)
            self.assertEqual(result.returncode, 2)
            self.assertIn(f"{options[1]} not in {{", result.stderr.decode())
        self.assertEqual(sorted(self.folder.iterdir()), before)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
