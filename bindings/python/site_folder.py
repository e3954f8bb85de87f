"""Print the site folder, relative to PREFIX, that this interpreter searches for packages.

Usage: site_folder.py PREFIX. Of the interpreter's site folders below PREFIX the shortest is
chosen (Debian: /usr gives lib/python3/dist-packages, /usr/local lib/python3.X/dist-packages);
with none below PREFIX, the standard layout lib/python3.X/site-packages.
"""
import site
import sys
from pathlib import Path

prefix = Path(sys.argv[1])
below = [Path(folder).relative_to(prefix) for folder in site.getsitepackages()
         if Path(folder).is_relative_to(prefix)]
if below:
    print(min(below, key=lambda path: len(path.parts)))
else:
    print(f"lib/python{sys.version_info[0]}.{sys.version_info[1]}/site-packages")
