#!/usr/bin/env python3
"""page-links.py PAGE: prints a page with its links as they are from the site's root."""
import re
import sys

print(re.sub(r"\]\((\.\./)+", "](", open(sys.argv[1]).read()), end="")
