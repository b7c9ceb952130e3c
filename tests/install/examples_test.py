#!/usr/bin/env python3
"""Runs the examples on real data and checks what they give.

    QORAC_QORDEC=qordec QORAC_DEMO=demo.mp3 examples_test.py folder-of-the-programs
"""
import array
import io
import math
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import wave
from random import Random


DEMO_DELAY = 576 + 529  # samples that the demo's encoder and the filter banks of MP3 put in front


def run(folder, name, *arguments, data=b""):
    command = [str(pathlib.Path(folder) / f"example_{name}"), *map(str, arguments)]
    return subprocess.run(command, input=data, check=True, capture_output=True)


def output(folder, name, *arguments, data=b""):
    return run(folder, name, *arguments, data=data).stdout


def samples(data):
    pcm = array.array("h")
    pcm.frombytes(data[: len(data) // 2 * 2])
    return pcm


def decoded(path):
    """A stream as qordec decodes it: interleaved 16-bit PCM."""
    wav = subprocess.run([os.environ["QORAC_QORDEC"], "-q", str(path), "-"], check=True,
                         capture_output=True).stdout
    return samples(wav[44:])


def encoded(pcm, channels, rate, kbits):
    """PCM as qorenc, which stands beside qordec, encodes it."""
    wav = io.BytesIO()
    with wave.open(wav, "wb") as file:
        file.setnchannels(channels)
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(pcm.tobytes())
    encoder = pathlib.Path(os.environ["QORAC_QORDEC"]).with_name("qorenc")
    return subprocess.run([encoder, "-q", "-b", str(kbits), "-", "-"], input=wav.getvalue(), check=True,
                          capture_output=True).stdout


def demo():
    return pathlib.Path(os.environ["QORAC_DEMO"])


def demo_aac():
    return demo().with_suffix(".aac")


def sine(frequency, count, level=10000, rate=44100):
    return array.array("h", (round(level * math.sin(2 * math.pi * frequency / rate * n)) for n in range(count)))


def both(pcm):
    """The same samples in two channels."""
    return array.array("h", (x for x in pcm for _ in range(2)))


def decibels(signal, reference):
    """Energy of `signal` against that of `reference`."""
    return 10 * math.log10(max(energy(signal), 1e-9) / energy(reference))


def difference(a, b):
    assert len(a) == len(b), (len(a), len(b))
    return [x - y for x, y in zip(a, b)]


def energy(pcm):
    return sum(x * x for x in pcm)


def check_mdct(folder, pcm):
    left = pcm[::2]
    whole = samples(output(folder, "mdct", data=left.tobytes()))
    assert max(abs(a - b) for a, b in zip(left, whole[1024:])) <= 1
    low = samples(output(folder, "mdct", 1000, data=left.tobytes()))
    assert 0.01 < energy(low) / energy(left) < 1
    # What was removed holds the rest of the energy.
    rest = [a - b for a, b in zip(whole, low)]
    assert math.isclose(energy(low) + energy(rest), energy(left), rel_tol=0.02)


def check_samples(folder, pcm):
    pcm = pcm[88200:176400]
    for scale_factor in (0, 16, 35):
        step = 2 ** (scale_factor / 4)
        got = samples(output(folder, "samples", scale_factor, data=pcm.tobytes()))
        exact = 0
        for x, y in zip(pcm, got):
            integer = round((abs(x) / step) ** 0.75)
            values = [max(-32768, min(32767, round(math.copysign((integer + d) ** (4 / 3) * step, x))))
                      for d in ((0, -1, 1) if integer else (0, 1))]
            assert y in values or abs(y - values[0]) <= 1, (x, y)
            exact += abs(y - values[0]) <= 1
        # The power has ten correct bits: near the middle between two integers both are right.
        assert exact > 0.98 * len(pcm) and len(got) == len(pcm)


def check_mp3_float_bank(folder, pcm):
    def shifted(*gains, data):
        return samples(output(folder, "mp3_float_bank", *gains, data=data.tobytes()))[2 * 481:]

    assert decibels(difference(shifted(0, data=pcm[:88200])[:88200], pcm[:88200]), pcm[:88200]) < -75
    bass, treble = both(sine(150, 20000)), both(sine(3000, 20000))  # sub-bands 0 and 4
    half = [x / 2 for x in bass]
    middle = slice(2000, -2000)
    assert decibels(difference(shifted(-6.0206, 0, data=bass), half)[middle], half[middle]) < -50
    assert decibels(difference(shifted(0, 0, 0, -200, data=bass), bass)[middle], bass[middle]) < -75
    assert decibels(shifted(0, 0, 0, -200, data=treble)[middle], treble[middle]) < -75
    assert decibels(difference(shifted(-200, 0, data=treble), treble)[middle], treble[middle]) < -75
    # The channels are apart.
    left = array.array("h", (x if i % 2 == 0 else 0 for i, x in enumerate(bass)))
    assert not any(shifted(0, data=left)[1::2])


def check_mp3_decode(folder, pcm):
    # The example plays the Info frame, and what players cut off in front and behind.
    got = run(folder, "mp3_decode", data=demo().read_bytes())
    start = 2 * (1152 + DEMO_DELAY)
    assert not got.stderr and samples(got.stdout)[start:start + len(pcm)] == pcm


def check_aac_decode(folder):
    got = run(folder, "aac_decode", data=demo_aac().read_bytes())
    assert not got.stderr and samples(got.stdout) == decoded(demo_aac())


def check_aac_prediction(folder, pcm):
    def coded(step, data):
        got = run(folder, "aac_prediction", step, data=data.tobytes())
        gain = float(re.fullmatch(r"prediction gain (\S+) dB\n", got.stderr.decode()).group(1))
        return gain, decibels(difference(samples(got.stdout)[1024:len(data) + 1024], data), data)

    left, tone = pcm[::2], sine(1000, 60000)
    gain, error = coded(1024, left)
    assert 0.3 < gain < 5 and -60 < error < -45, (gain, error)
    gain, error = coded(1024, tone)
    assert gain > 8 and error < -60, (gain, error)
    assert coded(16, left)[1] < -75


def check_mp3_encode(folder, pcm):
    with tempfile.TemporaryDirectory() as name:
        path = pathlib.Path(name) / "test.mp3"
        for channels, rate, kbits, most in ((2, 44100, 128, -17), (1, 44100, 64, -13), (2, 48000, 320, -30),
                                            (1, 32000, 32, -9), (2, 44100, 64, -8)):
            source = pcm if channels == 2 else pcm[::2]
            stream = output(folder, "mp3_encode", channels, rate, kbits, data=source.tobytes())
            path.write_bytes(stream)
            # qorenc puts an Info frame in front.
            assert encoded(source, channels, rate, kbits)[-len(stream):] == stream
            got = decoded(path)
            frames = -(-(len(source) // channels + 1329) // 1152)
            assert len(got) == 1152 * frames * channels
            assert len(stream) == 144000 * kbits * frames // rate
            coded = got[1329 * channels:1329 * channels + len(source)]
            assert decibels(difference(coded, source), source) < most
            own = run(folder, "mp3_decode", data=stream)
            assert not own.stderr and samples(own.stdout) == got
            if shutil.which("mpg123"):
                other = subprocess.run(["mpg123", "-q", "--no-gapless", "-s", path], check=True, capture_output=True)
                assert not other.stderr, other.stderr
                assert max(map(abs, difference(samples(other.stdout), got))) <= 1


def check_sbr_upsample(folder, pcm):
    left = pcm[::2]
    got = samples(output(folder, "sbr_upsample", data=left.tobytes()))
    assert len(got) == 2 * len(left) + 578
    # Every second sample is one of the input.
    assert decibels(difference(got[578::2], left), left) < -55
    # A tone stays a tone, with nothing at its image around the old rate.
    for frequency in (440, 5000):
        tone = sine(frequency, 20000, rate=22050)
        twice = samples(output(folder, "sbr_upsample", data=tone.tobytes()))[578:]
        middle = slice(2000, 38000)
        assert decibels(difference(twice, sine(frequency, 40000))[middle], twice[middle]) < -50


def check_ps_hybrid(folder):
    pcm = array.array("h")
    for n in range(44100):
        low = 10000 * math.sin(2 * math.pi * 130 / 44100 * n)
        high = 5000 * math.sin(2 * math.pi * 950 / 44100 * n)
        pcm.extend((round(low + high), round(low / 2 - 2 * high)))
    lines = output(folder, "ps_hybrid", 44100, data=pcm.tobytes()).decode().splitlines()
    bands = {}
    for line in lines:
        low, high, level, alike = map(float, re.findall(r"-?\d+\.?\d*", line))
        bands[low, high] = level, alike
    assert len(bands) == 8
    for band, level, alike in (((86, 172), 6.02, 1), ((861, 1034), -6.02, -1)):
        assert abs(bands[band][0] - level) < 0.05 and abs(bands[band][1] - alike) < 0.01, bands


def check_vlc(folder, pcm):
    edges = array.array("h", ((-32768, 32767, 0, -32768, 1)[n % 5] for n in range(3001)))
    for source in (pcm[::2], edges):
        got = run(folder, "vlc", data=source.tobytes())
        assert samples(got.stdout) == source
        bits = 0
        for start in range(0, len(source), 1024):
            block = [abs((x - y + 32768) % 65536 - 32768) for x, y in
                     zip(source[start:start + 1024], source[start - 1:] if start else [0, *source[:1023]])]
            block += [0] * (1024 - len(block))
            linbits = max(0, max(block) - 15).bit_length()
            bits += sum(3 if v < 4 else 4 if v < 8 else 5 for v in block)
            bits += sum((v > 0) + (linbits if v >= 15 else 0) for v in block)
        assert got.stderr.decode() == f"{bits} bits\n", (got.stderr, bits)


def check_dts_synthesis(folder, pcm):
    def error(step, source):
        got = samples(output(folder, "dts_synthesis", step, data=source.tobytes()))
        assert len(got) == len(source) + 480
        return energy(difference(got[480:], source)) / len(source)

    assert error(0.01, pcm[:176400:2]) < 0.5
    # In a noise all sub-bands are rounded alike: a twelfth of the square of the step.
    random = Random(1)
    noise = array.array("h", (random.randint(-8000, 8000) for _ in range(40000)))
    assert math.isclose(error(64, noise), 64 ** 2 / 12, rel_tol=0.05)


def check_tvq_search(folder, pcm):
    left = pcm[:176400:2]
    errors = []
    for candidates in (1, 4, 64):
        got = samples(output(folder, "tvq_search", candidates, data=left.tobytes()))
        errors.append(decibels(difference(got, left), left))
    assert errors[0] > errors[1] > errors[2] and errors[0] < -15, errors


def check_fir(folder, pcm):
    got = samples(output(folder, "fir", 4410, 1, 0, 0, 0.5, data=pcm.tobytes()))
    delay = 2 * 3 * 4410
    echo = [0] * delay + [x / 2 for x in pcm[:-delay]]
    assert len(got) == len(pcm)
    assert all(abs(max(-32768, min(32767, x + y)) - z) <= 0.5 for x, y, z in zip(pcm, echo, got))


def check(folder):
    pcm = decoded(demo())
    check_mdct(folder, pcm)
    check_samples(folder, pcm)
    check_mp3_float_bank(folder, pcm)
    check_mp3_decode(folder, pcm)
    check_mp3_encode(folder, pcm)
    check_aac_decode(folder)
    check_aac_prediction(folder, pcm)
    check_sbr_upsample(folder, pcm)
    check_ps_hybrid(folder)
    check_vlc(folder, pcm)
    check_dts_synthesis(folder, pcm)
    check_tvq_search(folder, pcm)
    check_fir(folder, pcm)


if __name__ == "__main__":
    check(sys.argv[1])
    print("all examples gave what they should")
