"""The code-page table generator: shape of the output and a few known positions."""

import os
import re
import subprocess
import sys
import tempfile
import unittest

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), os.pardir, "gen_codepages.py")


class GenCodepagesTest(unittest.TestCase):
    def test_nine_pages_of_96_with_known_positions(self):
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "Iso8859Tables.inc")
            subprocess.run([sys.executable, SCRIPT, path], check=True)
            with open(path, encoding="ascii") as f:
                body = f.read()
        body = body[body.index("kIso8859Upper[9][96]"):]
        pages = [[int(v, 16) for v in re.findall(r"0x([0-9A-F]+)", block)]
                 for block in re.findall(r"\{\s*//[^\n]*\n(.*?)\}", body, re.S)]
        self.assertEqual([len(p) for p in pages], [96] * 9)
        self.assertEqual(pages[0], list(range(0xA0, 0x100)))  # 8859-1 is the identity
        self.assertEqual(pages[1][0xA1 - 0xA0], 0x0104)       # 8859-2 A ogonek
        self.assertEqual(pages[4][0xC0 - 0xA0], 0x0420)       # 8859-5 Cyrillic ER
        self.assertEqual(pages[2][0xA5 - 0xA0], 0xFFFD)       # 8859-3 leaves 0xA5 unassigned


if __name__ == "__main__":
    unittest.main()
