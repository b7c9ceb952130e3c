"""AAC streams of an independent encoder through qordec, against an independent decoder (ffmpeg).

Usage: qordec_aac_test.py <qordec>
"""

import array
import cmath
import math
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import wave
from pathlib import Path

QORDEC = os.path.abspath(sys.argv[1])
FFMPEG = shutil.which("ffmpeg")

# Two channels with much in common: a rising tone and bursts of noise with sharp onsets.
SWEEP = "sin(2*PI*(200+150*t)*t)"
STEREO = (f"aevalsrc=0.35*{SWEEP}+0.5*(random(0)-0.5)*exp(-40*mod(t\\,0.31))"
          f"|0.3*{SWEEP}+0.2*(random(1)-0.5)*exp(-9*mod(t\\,0.5)):s=48000:d={{seconds}}")
NOISE = "anoisesrc=d={seconds}:r=48000:a=0.3:seed=5"
# Sounds that repeat: steady tones, and two trains of short ringing pulses.
TONES = ("aevalsrc=0.3*sin(2*PI*440*t)+0.2*sin(2*PI*1320*t)+0.1*sin(2*PI*3000*t)"
         "|0.3*sin(2*PI*550*t)+0.1*sin(2*PI*2200*t):s=48000:d={seconds}")
PULSES = ("aevalsrc=0.6*exp(-60*mod(t\\,0.01))*sin(2*PI*900*mod(t\\,0.01))+0.2*sin(2*PI*330*t)"
          "|0.5*exp(-90*mod(t\\,0.0123))*sin(2*PI*700*mod(t\\,0.0123)):s=48000:d={seconds}")
# At full scale, for bit rates at which the tone becomes a small number of large steps.
LOUD = "aevalsrc=0.98*sin(2*PI*997*t)|0.6*sin(2*PI*440*t)+0.39*sin(2*PI*443*t):s=48000:d={seconds}"


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, timeout=120, **options)


def ffmpeg(*arguments):
    return run(FFMPEG, "-v", "error", "-nostdin", "-y", *arguments).stdout


def adts_frames(data):
    position = 0
    while position < len(data):
        size = (data[position + 3] & 3) << 11 | data[position + 4] << 3 | data[position + 5] >> 5
        yield data[position:position + size]
        position += size


def adts_frame(header, blocks):
    """A frame without CRC word of the given blocks, like the one that `header` begins."""
    body = b"".join(blocks)
    size = 7 + len(body)
    head = bytearray(header[:7])
    head[3] = head[3] & 0xFC | size >> 11
    head[4] = size >> 3 & 0xFF
    head[5] = (size & 7) << 5 | 0x1F
    head[6] = 0xFC | len(blocks) - 1
    return bytes(head) + body


def bit_string(data):
    return "".join(f"{byte:08b}" for byte in data)


def first_ics_info(block):
    """Of the first element of a block of bits: whether it is a pair with a common window, whether its windows
    are short ones, max_sfb and the place of predictor_data_present; nothing in front of other elements."""
    element = int(block[:3], 2)
    if element > 1:
        return None
    common = element == 1 and block[7] == "1"
    at = 8 if element == 1 else 7
    if not common:
        at += 8  # global_gain
    return common, block[at + 1:at + 3] == "10", int(block[at + 4:at + 10], 2), at + 10


def line_prediction(frame):
    """Whether the first element of a frame of the Main profile resets predictors, and how many of its bands
    are predicted."""
    block = bit_string(frame[7:])
    info = first_ics_info(block)
    if info is None or info[1] or block[info[3]] == "0":
        return False, 0
    reset = block[info[3] + 1] == "1"
    flags = info[3] + (7 if reset else 2)
    bands = (33, 33, 38, 40, 40, 40, 41, 41, 37, 37, 37, 34)[frame[2] >> 2 & 15]
    return reset, block[flags:flags + min(info[2], bands)].count("1")


def with_long_term_prediction(frame, generator):
    """A frame of object type LTP out of an LC one. Most channels with long windows are predicted; not so pairs
    without a common window, for which ffmpeg keeps the prediction of the block before."""
    block = bit_string(frame[7:])
    info = first_ics_info(block)
    if info is not None and not info[1] and (info[0] or block[:3] == "000"):
        common, _, max_sfb, at = info
        assert block[at] == "0"
        fields = "1"
        for _ in range(2 if common else 1):
            if generator.random() < 0.3:
                fields += "0"
                continue
            fields += f"1{generator.randrange(2048):011b}{generator.choice((0, 0, 1, 2, 7)):03b}"
            fields += "".join(generator.choice("01") for _ in range(min(max_sfb, 40)))
        block = block[:at] + fields + block[at + 1:]
    block += "0" * (-len(block) % 8)
    header = bytearray(frame[:7])
    header[2] |= 3 << 6
    return adts_frame(bytes(header), [int(block, 2).to_bytes(len(block) // 8, "big")])


class Bits:
    def __init__(self):
        self.value, self.count = 0, 0

    def put(self, value, width):
        self.value, self.count = self.value << width | value, self.count + width

    def bytes(self):
        padding = -self.count % 8
        return (self.value << padding).to_bytes((self.count + padding) // 8, "big")


def with_fill_element(block, payload):
    """The block with a fill element in front of its END, which is the last bit set and two before it."""
    value, bits = int.from_bytes(block, "big"), 8 * len(block)
    while value & 1 == 0:
        value, bits = value >> 1, bits - 1
    out = Bits()
    out.put(value >> 3, bits - 3)
    out.put(6, 3)
    out.put(len(payload), 4)
    for byte in payload:
        out.put(byte, 8)
    out.put(7, 3)
    return out.bytes()


def adif_header(frame, bitstream_type=0, copyright_id=b""):
    """An ADIF header for the stream, mono or stereo, of an ADTS frame."""
    out = Bits()
    out.put(int.from_bytes(b"ADIF", "big"), 32)
    out.put(1 if copyright_id else 0, 1)
    for byte in copyright_id:
        out.put(byte, 8)
    out.put(0, 2)
    out.put(bitstream_type, 1)
    out.put(128000, 23)
    out.put(0, 4)
    if bitstream_type == 0:
        out.put(0, 20)
    channels = (frame[2] & 1) << 2 | frame[3] >> 6
    out.put(0, 4)
    out.put(frame[2] >> 6, 2)
    out.put(frame[2] >> 2 & 15, 4)
    out.put(1, 4)
    out.put(0, 4 + 4 + 2 + 3 + 4 + 3)
    out.put(channels - 1, 1)
    out.put(0, 4)
    out.put(0, -out.count % 8)
    out.put(3, 8)
    return out.bytes() + b"abc"


def spectrum(samples):
    """The discrete Fourier transform of a power of two of samples."""
    if len(samples) == 1:
        return list(samples)
    even, odd = spectrum(samples[::2]), spectrum(samples[1::2])
    half = len(even)
    turned = [cmath.exp(-1j * math.pi * k / half) * odd[k] for k in range(half)]
    return [a + b for a, b in zip(even, turned)] + [a - b for a, b in zip(even, turned)]


def band_energies(samples):
    """Energies of bands about a third of an octave wide, over windows all along the signal."""
    size = 1024
    edges = [int(8 * 2 ** (i / 3)) for i in range(18)]
    energies = [0.0] * (len(edges) - 1)
    window = [math.sin(math.pi * (i + 0.5) / size) for i in range(size)]
    for start in range(0, len(samples) - size, size):
        bins = spectrum([x * w for x, w in zip(samples[start:start + size], window)])
        for band in range(len(energies)):
            energies[band] += sum(abs(x) ** 2 for x in bins[edges[band]:edges[band + 1]])
    return energies


@unittest.skipUnless(FFMPEG, "ffmpeg makes the streams")
class QordecAac(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def encode(self, *options, source=STEREO, seconds=1.5):
        path = self.folder / "in.aac"
        ffmpeg("-f", "lavfi", "-i", source.format(seconds=seconds), *options, "-c:a", "aac", path)
        return path.read_bytes()

    def decode(self, data, *options):
        """Decodes bytes; gives channels, sampling rate and samples, and the summary."""
        source, out = self.folder / "stream", self.folder / "out.wav"
        source.write_bytes(data)
        result = subprocess.run([QORDEC, source, out, *options], capture_output=True, timeout=120)
        self.assertNotRegex(result.stderr.decode(errors="replace"), "Sanitizer|runtime error")
        self.assertEqual(result.returncode, 0, result.stderr)
        with wave.open(str(out)) as file:
            samples = array.array("h", file.readframes(file.getnframes()))
            return file.getnchannels(), file.getframerate(), samples, result.stdout.decode()

    def reference(self, data, *options):
        source = self.folder / "reference.aac"
        source.write_bytes(data)
        return array.array("h", ffmpeg(*options, "-c:a", "aac", "-i", source, "-f", "s16le", "-"))

    def concealed(self, summary):
        return int(re.search(r"(\d+) concealed", summary)[1])

    def compare(self, data, *reference_options):
        """Decodes and holds the samples against the reference; gives channels, rate and summary."""
        channels, rate, samples, summary = self.decode(data)
        reference = self.reference(data, *reference_options)
        self.assertEqual(self.concealed(summary), 0)
        self.assertEqual(len(samples), len(reference))
        differences = [a - b for a, b in zip(samples, reference)]
        self.assertLessEqual(max(map(abs, differences)), 4)
        self.assertLess(math.sqrt(sum(d * d for d in differences) / len(differences)), 0.5)
        self.assertGreater(max(reference), 3000)  # it sounds
        return channels, rate, summary

    def test_all_sampling_rates(self):
        for rate in (8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 64000, 88200, 96000):
            with self.subTest(rate=rate):
                data = self.encode("-ar", rate, "-b:a", 2 * rate, "-aac_pns", 0, seconds=1)
                self.assertEqual(self.compare(data)[:2], (2, rate))

    def test_tools_on_and_off(self):
        for options in (("-b:a", "64k", "-aac_is", 1), ("-b:a", "160k", "-aac_ms", 1, "-aac_is", 0),
                        ("-b:a", "96k", "-aac_tns", 0, "-aac_is", 0, "-aac_ms", 0), ("-b:a", "256k",),
                        ("-b:a", "96k", "-aac_coder", "fast"), ("-b:a", "96k", "-profile:a", "mpeg2_aac_low")):
            with self.subTest(options=options):
                self.compare(self.encode("-ar", 44100, "-aac_pns", 0, *options))

    def test_large_steps(self):
        for options in (("-b:a", "64k"), ("-b:a", "128k"), ("-b:a", "64k", "-profile:a", "aac_main")):
            with self.subTest(options=options):
                self.compare(self.encode("-aac_pns", 0, *options, source=LOUD))

    def test_pulses_in_intensity_bands_do_not_reach_the_predictors(self):
        damaged = Path(__file__).parents[2] / "fuzz/corpus/decoder/main-pulse-in-an-intensity-band"
        source = self.folder / "damaged.aac"
        source.write_bytes(damaged.read_bytes()[1:])  # behind the fuzzer's option byte
        wav = run(QORDEC, "-q", source, "-").stdout
        self.assertGreater(len(wav), 44 + 5 * 2048)
        self.assertEqual(set(wav[44:]), {0})

    def test_main_profile_prediction(self):
        resets = shorts = 0
        for source, options in ((TONES, ("-b:a", "64k")), (TONES, ("-b:a", "160k", "-ac", 1)),
                                (PULSES, ("-b:a", "256k")), (PULSES, ("-b:a", "96k", "-ar", 24000)),
                                (STEREO, ("-b:a", "128k", "-ar", 44100)), (STEREO, ("-b:a", "48k", "-ar", 16000))):
            with self.subTest(source=source, options=options):
                data = self.encode("-profile:a", "aac_main", "-aac_pns", 0, *options, source=source)
                self.assertIn("AAC Main in ADTS", self.compare(data)[2])
                frames = list(adts_frames(data))
                predictions = [line_prediction(frame) for frame in frames]
                self.assertGreater(sum(bands for _, bands in predictions), 2 * len(frames))
                resets += sum(reset for reset, _ in predictions)
                infos = [first_ics_info(bit_string(frame[7:])) for frame in frames]
                shorts += sum(info is not None and info[1] for info in infos)
        self.assertGreater(resets, 50)
        self.assertGreater(shorts, 5)

    def test_long_term_prediction(self):
        """The encoder writes streams of this type, but hardly ever predicts: a writer adds what it leaves out."""
        generator = random.Random(3)
        for source, options in ((TONES, ("-b:a", "64k", "-aac_ms", 1, "-aac_is", 0)), (PULSES, ("-b:a", "64k", "-ac", 1)),
                                (STEREO, ("-b:a", "64k", "-aac_is", 1)), (STEREO, ("-b:a", "128k", "-ar", 44100)),
                                (STEREO, ("-b:a", "64k", "-ac", 1, "-ar", 16000))):
            with self.subTest(source=source, options=options):
                data = self.encode("-profile:a", "aac_ltp", "-strict", -2, "-aac_pns", 0, *options, source=source)
                self.assertIn("AAC LTP in ADTS", self.compare(data)[2])
                plain = list(adts_frames(self.encode("-aac_pns", 0, *options, source=source)))
                predicted = [with_long_term_prediction(frame, generator) for frame in plain]
                longer = sum(len(a) > len(b) for a, b in zip(predicted, plain))
                self.assertGreater(longer, len(plain) / 3)
                self.assertIn("AAC LTP in ADTS", self.compare(b"".join(predicted))[2])

    def test_channel_layouts(self):
        mixes = ["0.5*c0+0.2*c1", "0.7*c1", "0.4*c0-0.3*c1", "0.3*c0+0.5*c1", "0.1*c0+0.6*c1", "0.8*c0-0.1*c1"]
        for layout, channels in (("mono", 1), ("3.0", 3), ("4.0", 4), ("5.0", 5), ("5.1", 6), ("7.1", 8)):
            with self.subTest(layout=layout):
                inputs = (["c0", "c1"] + mixes)[:channels]
                pan = f"pan={layout}|" + "|".join(f"c{i}={mix}" for i, mix in enumerate(inputs))
                data = self.encode("-af", pan, "-b:a", f"{channels * 48}k", "-aac_pns", 0, seconds=1)
                # Without "strict" ffmpeg reads 7.1 streams in a way of its own.
                self.assertEqual(self.compare(data, "-strict", 1)[0], channels)

    def test_program_configuration_in_the_stream(self):
        data = self.encode("-b:a", "96k", "-aac_pns", 0, "-aac_pce", 1)
        self.assertEqual((data[2] & 1) << 2 | data[3] >> 6, 0)
        self.assertEqual(self.compare(data)[0], 2)

    def test_noise_substitution_keeps_band_energies(self):
        for source, channels in ((NOISE, 1), (NOISE, 2), (STEREO, 2)):
            with self.subTest(source=source, channels=channels):
                data = self.encode("-ac", channels, "-ar", 44100, "-b:a", f"{40 * channels}k", "-aac_pns", 1,
                                   source=source, seconds=4)
                got_channels, _, samples, summary = self.decode(data)
                reference = self.reference(data)
                self.assertEqual(self.concealed(summary), 0)
                self.assertEqual((got_channels, len(samples)), (channels, len(reference)))
                self.assertNotEqual(samples, reference)
                for channel in range(channels):
                    ours, theirs = (band_energies(s[channel::channels]) for s in (samples, reference))
                    loudest = max(theirs)
                    for a, b in zip(ours, theirs):
                        if b > loudest * 1e-4:
                            self.assertLess(abs(10 * math.log10(a / b)), 1)

    def test_adif(self):
        data = self.encode("-b:a", "96k", "-aac_pns", 0)
        frames = list(adts_frames(data))
        _, rate, samples, _ = self.decode(data)
        blocks = b"".join(frame[7:] for frame in frames)
        for header in (adif_header(frames[0]), adif_header(frames[0], 1), adif_header(frames[0], 0, bytes(range(9)))):
            channels, adif_rate, adif_samples, summary = self.decode(header + blocks)
            self.assertEqual((channels, adif_rate, adif_samples), (2, rate, samples))
            self.assertIn("AAC LC in ADIF", summary)
            self.assertEqual(self.concealed(summary), 0)

        # Behind a damaged block nothing tells where the next one begins.
        cut = adif_header(frames[0]) + b"".join(f[7:] for f in frames[:20]) + bytes(5000)
        _, _, cut_samples, summary = self.decode(cut)
        self.assertEqual(cut_samples[:20 * 2048], samples[:20 * 2048])
        self.assertEqual(self.concealed(summary), 1)

    def test_several_blocks_in_a_frame(self):
        data = self.encode("-b:a", "96k", "-aac_pns", 0)
        frames = list(adts_frames(data))
        _, _, samples, _ = self.decode(data)
        for count in (2, 3, 4):
            joined = b"".join(adts_frame(frames[0], [f[7:] for f in frames[i:i + count]])
                              for i in range(0, len(frames), count))
            self.assertEqual(self.decode(joined)[2], samples)

    def test_sbr_payload_is_skipped(self):
        data = self.encode("-b:a", "96k", "-aac_pns", 0)
        frames = list(adts_frames(data))
        _, _, samples, summary = self.decode(data)
        self.assertNotIn("SBR", summary)
        extended = b"".join(adts_frame(f, [with_fill_element(f[7:], b"\xd1\x22\x33\x44\x55")]) for f in frames)
        _, rate, extended_samples, summary = self.decode(extended)
        self.assertEqual(extended_samples, samples)
        self.assertIn(f"SBR data were skipped: the core plays at its own rate of {rate} Hz", summary)

    def test_tags_junk_and_pipes(self):
        data = self.encode("-b:a", "96k", "-aac_pns", 0)
        _, _, samples, _ = self.decode(data)
        id3 = b"ID3\x03\x00\x00" + bytes([0, 0, 2, 0]) + b"\xff\xf1\x90\x40" * 64
        id1 = b"TAG" + bytes(125)
        self.assertEqual(self.decode(id3 + b"junk" * 100 + data + id1)[2], samples)
        result = run(QORDEC, "-", "-", input=data)
        self.assertEqual(result.stdout[44:], samples.tobytes())
        self.assertIn(b"AAC LC in ADTS", result.stderr)

    def test_lost_frames_are_concealed(self):
        data = self.encode("-b:a", "96k", "-aac_pns", 0)
        frames = list(adts_frames(data))
        _, _, samples, _ = self.decode(data)
        for lost in (20, 40):
            overwritten = frames[:lost] + [bytes(len(frames[lost]))] + frames[lost + 1:]
            _, _, concealed_samples, summary = self.decode(b"".join(overwritten))
            self.assertEqual(self.concealed(summary), 1)
            self.assertEqual(len(concealed_samples), len(samples))
            self.assertEqual(concealed_samples[:2048 * lost], samples[:2048 * lost])
            self.assertEqual(concealed_samples[2048 * (lost + 2):], samples[2048 * (lost + 2):])

    def test_damaged_streams_end_without_a_crash(self):
        generator = random.Random(7)
        streams = [self.encode("-b:a", "96k"), self.encode("-b:a", "64k", "-ac", 1, source=NOISE)]
        frames = list(adts_frames(streams[0]))
        streams.append(adif_header(frames[0]) + b"".join(frame[7:] for frame in frames))
        for data in streams:
            for _ in range(6):
                damaged = bytearray(data)
                for _ in range(generator.randint(1, 200)):
                    damaged[generator.randrange(len(damaged))] = generator.randrange(256)
                result = subprocess.run([QORDEC, "-", "-"], capture_output=True, timeout=120,
                                        input=bytes(damaged[:generator.randint(len(damaged) // 2, len(damaged))]))
                self.assertIn(result.returncode, (0, 1))
                self.assertNotRegex(result.stderr.decode(errors="replace"), "Sanitizer|runtime error")

    def test_streams_that_are_not_decoded(self):
        data = bytearray(self.encode("-b:a", "96k", "-aac_pns", 0))
        for frame_start in [sum(len(f) for f in list(adts_frames(data))[:i]) for i in range(3)]:
            data[frame_start + 2] = data[frame_start + 2] & 0x3F | 2 << 6  # SSR
        result = subprocess.run([QORDEC, "-", "-"], input=bytes(data[:2000]), capture_output=True, timeout=60)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"the AAC SSR profile is not supported", result.stderr)
        broken = adif_header(next(adts_frames(data)))[:9] + bytes(20)
        result = subprocess.run([QORDEC, "-", "-"], input=broken, capture_output=True, timeout=60)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"ADIF header is damaged", result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
