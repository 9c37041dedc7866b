#!/usr/bin/env python3
"""Makes the help file kvw.hlp of the guide's pages and the pictures they show.

  make_help.py DOCS FILE

DOCS/guide holds one Markdown file a page and contents.md, which groups the pages under second-level headings
and links to each; a page without a link there is left out.  FILE is a JSON object, packed as the toolkit's
qUncompress takes it (the length in four bytes, then a zlib stream, whose checksum tells damage):

  pages     in reading order, each with its name ("start.md"), group and HTML; headings have the ids that
            repository viewers give them, a note (block quote) is a table of one cell with the class "note"
  pictures  by file name, in Base64
"""
import base64
import json
import pathlib
import re
import struct
import sys
import zlib

import markdown

LINK = re.compile(r"\[[^]]*\]\(([^)#]+\.md)\)")
PICTURE = re.compile(r'<img [^>]*src="\.\./pictures/([^"]+)"')
NOTE = '<table class="note" width="100%" cellspacing="0"><tr><td>\\1</td></tr></table>'


def anchor(title, separator):
    return re.sub(r"[^\w -]", "", title.lower()).replace(" ", separator)


def html_of(text):
    html = markdown.markdown(text, extensions=["tables", "fenced_code", "sane_lists", "toc"],
                             extension_configs={"toc": {"slugify": anchor}})
    html = html.replace("<table>", '<table width="100%" cellspacing="0">').replace("<p><img", '<p class="picture"><img')
    return re.sub(r"<blockquote>(.*?)</blockquote>", NOTE, html, flags=re.DOTALL)


def main():
    docs, target = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    pages, group = [], ""
    for line in (docs / "guide" / "contents.md").read_text(encoding="utf-8").splitlines():
        if line.startswith("## "):
            group = line[3:]
        elif link := LINK.search(line):
            text = (docs / "guide" / link[1]).read_text(encoding="utf-8")
            pages.append({"name": link[1], "group": group, "html": html_of(text)})
    shown = sorted({name for page in pages for name in PICTURE.findall(page["html"])})
    pictures = {name: base64.b64encode((docs / "pictures" / name).read_bytes()).decode() for name in shown}
    guide = json.dumps({"pages": pages, "pictures": pictures}).encode()
    target.write_bytes(struct.pack(">I", len(guide)) + zlib.compress(guide, 9))


main()
