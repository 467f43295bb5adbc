#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Filter of Doxygen. For the project's pages, which are written to be read in a repository's web pages as well: headings
get the anchors that links to them name, under the page's name, for all pages are one site here; pictures keep their
folders. For headers: a declaration right behind another one has that one's comment.

Usage: filter.py FILE
"""
import pathlib
import re
import sys


def anchor(heading, seen):
    """The name of a heading: small letters, digits and hyphens, with a number where it came before."""
    name = re.sub(r"[^\w\- ]", "", heading.lower()).strip().replace(" ", "-")
    seen[name] = seen.get(name, -1) + 1
    return name if seen[name] == 0 else f"{name}-{seen[name]}"


def filteredPage(path, text):
    page = path.stem.lower()
    seen, lines, fence = {}, [], False
    for line in text.splitlines():
        if line.startswith("```"):
            fence = not fence
            # The word behind a block's language is for the tests of the pages.
            line = line.replace("text synopsis", "text")
        heading = None if fence else re.match(r"(#+) (.*)", line)
        if heading and len(heading[1]) > 1: # the first is the page's title
            lines.append(f"{line} {{#{page}-{anchor(heading[2], seen)}}}")
        elif fence:
            lines.append(line)
        else:
            line = re.sub(r"!\[([^]]*)\]\((?:docs/)?images/([^)]+)\)", r'<img src="images/\2" alt="\1">', line)
            line = re.sub(r"\[`?[\w./]+`?\]\(include/(\w+\.h)\)", r"\1", line) # Doxygen links it to the reference
            line = re.sub(r"\[`([^`]*)`\]\(", r"[\1](", line) # code in the text of a link is not known
            line = re.sub(r"\]\(#([\w-]+)\)", rf"](#{page}-\1)", line)
            lines.append(re.sub(r"\]\((?:[\w./-]*/)?([\w-]+)\.md#([\w-]+)\)",
                                lambda link: f"](#{link[1].lower()}-{link[2]})", line))
    return "\n".join(lines)


def marked(comment, declaration):
    """A comment with Doxygen's words for what it says of parameters and results, and its tables as they stand."""
    names = set(re.findall(r"\w+", declaration.partition("(")[2]))

    def parameter(found):
        said = re.split(r", (?:and )?", found[2])
        return f"{found[1]}@param {','.join(said)} " if set(said) <= names else found[0]

    lines = []
    for paragraph in re.split(r"(?<=\n)(?= \*\n)", comment):
        if re.search(r"^ \*  -{3,}  -{3,}", paragraph, re.M):
            paragraph = paragraph.replace(" *\n", " *\n * @verbatim\n", 1).rstrip("\n") + "\n * @endverbatim\n"
        lines.append(re.sub(r"^(/\*\* | \*  )(\w+(?:, (?:and )?\w+)*): ", parameter, paragraph, flags=re.M))
    return re.sub(r"^( \* )Returns ", r"\1@return ", "".join(lines), flags=re.M)


def filteredHeader(text):
    """Comments get marks; a declaration right behind another one has that one's comment."""
    told = ""
    parts = []
    # The first comment is the file's.
    text = text.replace("/**\n", "/**\n * @file\n", 1)
    for part in re.split(r"(^/\*\*.*?\*/\n|^VEK_API .*?;\n)", text, flags=re.M | re.S):
        if part.startswith("VEK_API"):
            name = re.search(r"(\w+)\s*[\[(;]", part)[1]
            if told and parts[-1] == "":
                parts.append(f"/** @copydoc {told} */\n")
            else:
                told = name
            if parts and parts[-1].startswith("/**") and "@copydoc" not in parts[-1]:
                parts[-1] = marked(parts[-1], part)
            elif len(parts) > 1 and parts[-1] == "" and parts[-2].startswith("/**"):
                parts[-2] = marked(parts[-2], part)
        elif part and not part.startswith("/**"):
            told = ""
        elif part.startswith("/**"):
            told = ""
            part = marked(part, "")
        parts.append(part)
    return "".join(parts)


def main():
    path = pathlib.Path(sys.argv[1])
    text = path.read_text()
    print(filteredHeader(text) if path.suffix == ".h" else filteredPage(path, text))


if __name__ == "__main__":
    main()
