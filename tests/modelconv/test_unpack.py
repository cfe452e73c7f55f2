#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The installer's unpacker on damaged npm package folders: one line, status 1, no output."""
import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

from tiny_tflite import run_in_folder  # noqa: E402

UNPACK = os.path.join(HERE, "..", "..", "tools", "modelconv", "unpack.py")


def unpack(files):
    loader = "var Module; loadPackage({\"files\": %s, \"remote_package_size\": 10});" % files
    return run_in_folder({"assets.data": b"0123456789", "assets_loader.js": loader.encode()},
                         [UNPACK, ".", "m.tflite", "out"], "out")


class DamagedPackages(unittest.TestCase):
    def test_a_member_is_cut_from_the_blob(self):
        run, left, _ = unpack('[{"filename": "/m.tflite", "start": 2, "end": 6}]')
        self.assertEqual((run.returncode, left), (0, b"2345"), run.stderr)

    def test_damaged_tables_fail_in_one_line(self):
        cases = {
            "past the blob's end": '[{"filename": "/m.tflite", "start": 4, "end": 20}]',
            "end before start": '[{"filename": "/m.tflite", "start": 6, "end": 2}]',
            "negative start": '[{"filename": "/m.tflite", "start": -3, "end": 2}]',
            "start not a number": '[{"filename": "/m.tflite", "start": "x", "end": 2}]',
            "no start": '[{"filename": "/m.tflite", "end": 2}]',
            "files not a list": '{"m.tflite": 1}',
            "entries not objects": '["m.tflite"]',
            "not JSON": '[{filename: "/m.tflite"}]',
            "member absent": '[{"filename": "/other.tflite", "start": 0, "end": 2}]',
        }
        for name, files in cases.items():
            with self.subTest(name):
                run, left, listing = unpack(files)
                self.assertEqual(run.returncode, 1, run.stderr)
                self.assertRegex(run.stderr, r"^unpack: \S.*\n$")
                self.assertEqual((left, listing), (None, ["assets.data", "assets_loader.js"]))


if __name__ == "__main__":
    unittest.main()
