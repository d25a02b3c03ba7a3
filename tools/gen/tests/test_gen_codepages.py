"""Checks the code-page table generator by running it into a temporary file."""

import os
import re
import subprocess
import sys
import tempfile
import unittest

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "gen_codepages.py")


def parse_tables(text):
    """Returns the pages of the generated array as lists of ints."""
    body = text[text.index("kIso8859Upper"):]
    pages = []
    for block in re.findall(r"\{\s*//[^\n]*\n(.*?)\}", body, re.S):
        pages.append([int(v, 16) for v in re.findall(r"0x([0-9A-F]+)", block)])
    return pages


class GenCodepagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.TemporaryDirectory()
        cls.path = os.path.join(cls.tmp.name, "sub", "Iso8859Tables.inc")
        subprocess.run([sys.executable, SCRIPT, cls.path], check=True)
        with open(cls.path, encoding="ascii") as f:
            cls.text = f.read()
        cls.pages = parse_tables(cls.text)

    @classmethod
    def tearDownClass(cls):
        cls.tmp.cleanup()

    def test_shape(self):
        self.assertIn("kIso8859Upper[9][96]", self.text)
        self.assertEqual(len(self.pages), 9)
        for page in self.pages:
            self.assertEqual(len(page), 96)

    def test_known_positions(self):
        self.assertEqual(self.pages[0][0xE9 - 0xA0], 0x00E9)  # 8859-1 e acute
        self.assertEqual(self.pages[1][0xA1 - 0xA0], 0x0104)  # 8859-2 A ogonek
        self.assertEqual(self.pages[4][0xC0 - 0xA0], 0x0420)  # 8859-5 Cyrillic ER
        self.assertEqual(self.pages[6][0xE1 - 0xA0], 0x03B1)  # 8859-7 alpha
        self.assertEqual(self.pages[8][0xF0 - 0xA0], 0x011F)  # 8859-9 g breve
        self.assertEqual(self.pages[0], list(range(0xA0, 0x100)))

    def test_unassigned_bytes_are_replacement(self):
        self.assertEqual(self.pages[2][0xA5 - 0xA0], 0xFFFD)  # 8859-3 leaves 0xA5 empty
        self.assertEqual(self.pages[5][0xA1 - 0xA0], 0xFFFD)  # 8859-6 leaves 0xA1 empty

    def test_rerun_keeps_identical_file(self):
        before = os.stat(self.path).st_mtime_ns
        subprocess.run([sys.executable, SCRIPT, self.path], check=True)
        with open(self.path, encoding="ascii") as f:
            self.assertEqual(f.read(), self.text)
        self.assertEqual(os.stat(self.path).st_mtime_ns, before)

    def test_usage_error(self):
        result = subprocess.run([sys.executable, SCRIPT], capture_output=True)
        self.assertNotEqual(result.returncode, 0)


if __name__ == "__main__":
    unittest.main()
