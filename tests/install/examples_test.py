#!/usr/bin/env python3
"""Runs the examples on real data and checks what they give.

    QORAC_QORDEC=qordec QORAC_DEMO=demo.mp3 examples_test.py folder-of-the-programs
"""
import array
import math
import os
import pathlib
import subprocess
import sys


def output(folder, name, *arguments, data=b""):
    command = [str(pathlib.Path(folder) / f"example_{name}"), *map(str, arguments)]
    return subprocess.run(command, input=data, check=True, capture_output=True).stdout


def samples(data):
    pcm = array.array("h")
    pcm.frombytes(data[: len(data) // 2 * 2])
    return pcm


def demo_pcm():
    """The demo, interleaved stereo at 44100 Hz."""
    wav = subprocess.run([os.environ["QORAC_QORDEC"], "-q", os.environ["QORAC_DEMO"], "-"], check=True,
                         capture_output=True).stdout
    return samples(wav[44:])


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


def check(folder):
    pcm = demo_pcm()
    check_mdct(folder, pcm)


if __name__ == "__main__":
    check(sys.argv[1])
    print("all examples gave what they should")
