# SPDX-License-Identifier: MIT
"""A preview at an eighth of the size, as a JPEG file: preview.py IN.jpg OUT.jpg"""
import sys

import jpg

jpg.write(sys.argv[2], jpg.read(sys.argv[1], scale=8))
