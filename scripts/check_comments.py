#!/usr/bin/env python3
"""Keeps comment blocks whole: a line of a paragraph is not left short in its middle, as a formatter leaves it that breaks
long lines one by one, and no longer than a line of code. Tables and code in comments (several blanks in a row) are let alone.

usage: check_comments.py [--fix] [ROOT]
"""
import pathlib
import re
import sys
import textwrap

FOLDERS = ("include", "src", "io", "report", "cli", "tool", "tests", "bench", "examples")
WIDTH = 110
SHORT = 66  # a line that ends before, though the next word fits, is broken
LINE = re.compile(r"^(\s*)(///|//)( ?)(.*)$")
NEW = re.compile(r"^(@|[-*|+] |\d+\. |[A-Z]\w*\(|$)")
TABLE = re.compile(r"\S {2,}\S")


def paragraphs(block):
    """Lists of indices of the lines of a block that belong together."""
    groups = []
    for i, text in enumerate(block):
        tagged = groups and block[groups[-1][0]].startswith("@")
        indented = text.startswith("  ") and not tagged
        if not groups or NEW.match(text) or indented or not block[groups[-1][-1]].strip():
            groups.append([i])
        else:
            groups[-1].append(i)
    return groups


def is_broken(lines, start):
    if any(start + len(line) > WIDTH and len(line.split()) > 1 for line in lines):
        return True
    for line, following in zip(lines, lines[1:]):
        words = following.split()
        if words and start + len(line) + 1 + len(words[0]) < SHORT:
            return True
        if line.rstrip() and following.startswith("    ") and len(line.split()) <= 3:
            return True
    return False


def mended(path):
    """The lines of a file with its broken paragraphs filled again, and the numbers of these."""
    lines, result, faults = path.read_text(encoding="utf-8").splitlines(), [], []
    at = 0
    while at < len(lines):
        first = LINE.match(lines[at])
        if not first:
            result.append(lines[at])
            at += 1
            continue
        end = at
        while end < len(lines) and (m := LINE.match(lines[end])) and m[1] == first[1] and m[2] == first[2]:
            end += 1
        block = [LINE.match(line)[4] for line in lines[at:end]]
        prefix = first[1] + first[2] + " "
        for group in paragraphs(block):
            texts = [block[i] for i in group]
            if any(TABLE.search(t.strip()) for t in texts) and not texts[0].startswith("@"):
                result += lines[at + group[0]:at + group[-1] + 1]
            elif not is_broken(texts, len(prefix)):
                result += lines[at + group[0]:at + group[-1] + 1]
            else:
                faults.append(at + group[0] + 1)
                hang = "    " if texts[0].startswith("@") else ""
                result += textwrap.wrap(" ".join(" ".join(texts).split()), WIDTH, initial_indent=prefix,
                                        subsequent_indent=prefix + hang, break_long_words=False, break_on_hyphens=False)
        at = end
    return result, faults


def main():
    arguments = [a for a in sys.argv[1:] if a != "--fix"]
    root = pathlib.Path(arguments[0] if arguments else pathlib.Path(__file__).parent.parent).resolve()
    files = [p for folder in FOLDERS for p in sorted((root / folder).rglob("*")) if p.suffix in (".h", ".cpp", ".inc")]
    count = 0
    for path in files:
        lines, faults = mended(path)
        count += len(faults)
        if faults and "--fix" in sys.argv:
            path.write_text("\n".join(lines) + "\n", encoding="utf-8")
        for number in faults:
            print(f"{path.relative_to(root)}:{number}: a paragraph of this comment is broken")
    print(f"check_comments: {len(files)} files, {count} faults")
    sys.exit(1 if count and "--fix" not in sys.argv else 0)


main()
