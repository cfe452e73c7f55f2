#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The installer's unpacker on damaged npm package folders: one line, status 1, no output."""
import os
import subprocess
import sys
import tempfile
import unittest

UNPACK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools", "modelconv",
                      "unpack.py")
BLOB = b"0123456789"


def loader(files):
    return "var Module; loadPackage({\"files\": %s, \"remote_package_size\": 10});" % files


class DamagedPackages(unittest.TestCase):
    def unpack(self, loader_text, name="m.tflite"):
        with tempfile.TemporaryDirectory() as d:
            with open(os.path.join(d, "assets.data"), "wb") as f:
                f.write(BLOB)
            with open(os.path.join(d, "assets_loader.js"), "w") as f:
                f.write(loader_text)
            target = os.path.join(d, "out")
            run = subprocess.run([sys.executable, UNPACK, d, name, target], capture_output=True,
                                 text=True)
            left = None
            if os.path.exists(target):
                with open(target, "rb") as f:
                    left = f.read()
            return run, left, sorted(os.listdir(d))

    def test_a_member_is_cut_from_the_blob(self):
        run, left, _ = self.unpack(loader('[{"filename": "/m.tflite", "start": 2, "end": 6}]'))
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
                run, left, listing = self.unpack(loader(files))
                self.assertEqual(run.returncode, 1, run.stderr)
                self.assertRegex(run.stderr, r"^unpack: \S.*\n$")
                self.assertIsNone(left)
                self.assertEqual(listing, ["assets.data", "assets_loader.js"])


if __name__ == "__main__":
    unittest.main()
