#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the pages say can be done, is done: every shell block of every page runs, from the top of the page to the end,
in a copy of the sources, on the build under test. Links and images exist, and so do the commands and files that the
text names. Usage: pages.py SOURCE_DIR BUILD_DIR"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

PAGES = ("*.md", "docs/**/*.md", "sim/*.md", "tests/*.md")

# (page, command): why it is not run. What is no longer in the pages must go from here.
NOT_RUN = {
    ("README.md", "./dev test"): "the run that this test is part of",
    ("docs/performance.md", "./dev bench"): "measures for minutes",
    ("docs/performance.md", "./dev bench --benchmark_filter='sharpness'"): "measures",
    ("docs/performance.md", "./dev bench --content picture"): "measures for minutes",
    ("docs/performance.md", "./dev bench --compare before.json"): "measures for minutes",
    ("docs/performance.md", "./dev bench --compare before.json after.json"): "compares what the others measured",
    ("docs/performance.md", "./dev bench --scaling"): "measures for minutes",
    ("docs/performance.md", "./dev bench --docs"): "measures for minutes",
}

# What takes seconds as it stands, and what is run for it.
SHORTER = {("README.md", "./dev demo"): "./dev demo --width 320 --height 240"}

# Languages of blocks. Only "sh" is run; "text" right behind it is what it prints. "text synopsis" is a command's form.
LANGUAGES = {"sh", "c", "cpp", "cmake", "python", "text", "text synopsis"}
COMMAND_LINE = re.compile(r"\s*(\$ |[A-Z_]+=\S* |(vekcam|\./dev|cmake|cc|gcc|pkg-config|export|dd|sudo|apt|apt-get) )")
PAGE_SECONDS = 120

# Compiling is left out: what the build under test holds stands for it.
CMAKE = """#!/bin/sh
case "$*" in
    "--preset "*) mkdir -p build && ln -sfn '{build}' "build/$2" ;;
    "--build --preset "*) ;;
    "--build build --target VekTrgApi") cp -a '{build}'/libVekTrgApi.so* build/ ;;
    *) exec '{cmake}' "$@" ;;
esac
"""


class Block:
    """A fenced block: where it stands, its language, its lines, and whether only blank lines part it from the last."""

    def __init__(self, page, line, language, follows):
        self.page, self.line, self.language, self.follows, self.lines = page, line, language, follows, []

    def commands(self):
        """Commands of a shell block, without comments: one a line, or more lines with a backslash between."""
        joined = re.sub(r"\\\n\s*", "", "\n".join(self.lines) + "\n")
        plain = (re.sub(r"(^|\s+)#( .*)?$", "", line).strip() for line in joined.split("\n"))
        return [line for line in plain if line]


class Page:
    """A page as blocks and text; the text has its line breaks and its code spans."""

    def __init__(self, source, path):
        self.path, self.name = path, path.relative_to(source).as_posix()
        self.blocks, self.problems, text = [], [], []
        block, follows = None, False
        for number, line in enumerate(path.read_text().split("\n"), 1):
            fence = re.match(r"\s*```+\s*(.*?)\s*$", line)
            if block is not None and not fence:
                block.lines.append(line)
            elif fence and block is not None:
                block, follows = None, True
            elif fence:
                block = Block(self.name, number, fence[1], follows)
                self.blocks.append(block)
            else:
                follows = follows and not line.strip()
                text.append(line)
                if line.startswith("    ") and COMMAND_LINE.match(line):
                    self.problems.append(f"{self.name}:{number}: a command that stands in no shell block")
        if block is not None:
            self.problems.append(f"{self.name}:{block.line}: a block without an end")
        self.text = "\n".join(text)

    def anchors(self):
        """What links to headings of this page are called."""
        names, seen = set(), {}
        for heading in re.findall(r"^#+ +(.*?)\s*$", self.text, re.M):
            name = re.sub(r"[^\w\- ]", "", re.sub(r"\]\([^)]*\)", "]", heading).lower()).replace(" ", "-")
            count = seen[name] = seen.get(name, -1) + 1
            names.add(name if count == 0 else f"{name}-{count}")
        return names

    def links(self):
        prose = re.sub(r"`[^`]*`", "", self.text)
        return re.findall(r"\]\(\s*<?([^)>\s]+)", prose) + re.findall(r"\b(?:src|href)=\"([^\"]+)\"", prose)

    def codeSpans(self):
        return [re.sub(r"\s+", " ", span) for span in re.findall(r"`([^`]+)`", self.text)]


def linkProblems(pages, source):
    byPath = {page.path.resolve(): page for page in pages}
    for page in pages:
        for link in page.links():
            if re.match(r"[a-z]+:", link):
                continue  # elsewhere
            name, _, anchor = link.partition("#")
            target = (page.path.parent / name).resolve() if name else page.path.resolve()
            if not target.is_relative_to(source) or not target.exists():
                yield f"{page.name}: {link} is not there"
            elif anchor and (target not in byPath or anchor not in byPath[target].anchors()):
                yield f"{page.name}: {link} has no such heading"


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def spanProblems(pages, source, build):
    """Commands and files that the text names in passing."""
    known = {"./dev": set(re.findall(r"^  (\S+)  ", output(source / "dev", "help"), re.M)) | {"help"},
             "vekcam": set(re.findall(r"^  (\w\S*)", output(build / "vekcam", "--help"), re.M))}
    folders = {entry.name for entry in source.iterdir() if entry.is_dir()} - {"build", "demo-output"}
    for page in pages:
        for span in page.codeSpans():
            program, _, rest = span.partition(" ")
            word = re.match(r"[a-z][a-z-]*\b", rest)
            if program in known and word and word[0] not in known[program]:
                yield f"{page.name}: `{span}`: {program} knows no {word[0]}"
            if re.fullmatch(r"[\w.-]+/[\w./-]*", span) and span.split("/")[0] in folders:
                if not (source / span).exists():
                    yield f"{page.name}: `{span}` is not there"


def blockProblems(pages):
    for page in pages:
        yield from page.problems
        for block in page.blocks:
            where = f"{block.page}:{block.line}"
            if block.language not in LANGUAGES:
                yield f"{where}: a block of the language '{block.language}'; known are {', '.join(sorted(LANGUAGES))}"
            if block.language == "text" and any(COMMAND_LINE.match(line) for line in block.lines):
                yield f"{where}: a command in a block that is not run"


def listProblems(pages, lists):
    there = {(page.name, command)
             for page in pages for block in page.blocks if block.language == "sh" for command in block.commands()}
    for page, command in sorted(set(lists) - there):
        yield f"{page}: a list of this test has a command that is gone: {command}"


def environment(scratch, build):
    """The reader's: a home and a temporary folder of their own, vekcam on the path, nothing that changes the camera."""
    tools = scratch / "bin"
    tools.mkdir()
    (tools / "vekcam").symlink_to(build / "vekcam")
    (tools / "cmake").write_text(CMAKE.format(build=build, cmake=shutil.which("cmake")))
    for name in ("sudo", "apt-get"):
        (tools / name).write_text("#!/bin/sh\necho \"a test installs nothing\" >&2\nexit 1\n")
    for tool in tools.iterdir():
        if not tool.is_symlink():
            tool.chmod(0o755)
    kept = {name: value for name, value in os.environ.items()
            if not name.startswith(("VEKCAM_", "PKG_CONFIG", "LD_", "CMAKE_", "CTEST_")) and name != "DESTDIR"}
    return kept | {"PATH": f"{tools}:{kept['PATH']}", "HOME": str(scratch / "home"), "LC_ALL": "C"}


def runProblems(page, notRun, shorter, source, build, scratch):
    """Runs a page's commands one after the other in one shell and compares what they print."""
    blocks = [(block, [command for command in block.commands() if (page.name, command) not in notRun])
              for block in page.blocks if block.language == "sh"]
    commands = [command for _, some in blocks for command in some]
    if not commands:
        return
    checkout, results = scratch / "checkout", scratch / "results"
    shutil.copytree(source, checkout, ignore=lambda folder, names:
                    {"build", "demo-output", ".git"} & set(names) if pathlib.Path(folder) == source else ())
    # What ./dev demo leaves, which pages take for granted; README runs it.
    (checkout / "build").mkdir()
    (checkout / "build/release").symlink_to(build)
    results.mkdir()
    (scratch / "home").mkdir()
    script = ["set -o pipefail"]
    for number, command in enumerate(commands):
        (results / f"{number}.command").write_text(shorter.get((page.name, command), command))
        # The camera that a page names is an emulated one, unless the page emulates it itself.
        device = None if " emulate " in command else re.search(r"/dev/video\d+", command)
        runner = f"'{build}/vekcam' emulate --size 640x480 --node {device[0]} -- bash -o pipefail -c" if device else "eval"
        result = f"'{results}/{number}'"
        script.append(f"{runner} \"$(cat {result}.command)\" >{result}.out 2>{result}.err </dev/null || exit 1")
        script.append(f"echo done >{result}.done")
    try:
        subprocess.run(["bash", "-c", "\n".join(script)], cwd=checkout, env=environment(scratch, build),
                       timeout=PAGE_SECONDS, check=False)
    except subprocess.TimeoutExpired:
        yield f"{page.name}: takes more than {PAGE_SECONDS} s"
    number = 0
    for block, some in blocks:
        printed = ""
        for command in some:
            if not (results / f"{number}.done").exists():
                said = "".join((results / f"{number}.{kind}").read_text() if (results / f"{number}.{kind}").exists()
                               else "" for kind in ("out", "err"))
                yield f"{page.name}:{block.line}: fails: {command}\n{said}"
                return
            printed += (results / f"{number}.out").read_text()
            number += 1
        behind = page.blocks.index(block) + 1
        if behind < len(page.blocks) and page.blocks[behind].follows and page.blocks[behind].language == "text":
            shown = "\n".join(page.blocks[behind].lines)
            if shown.rstrip() != printed.rstrip():
                yield f"{page.name}:{page.blocks[behind].line}: shows\n{shown}\nbut this is printed:\n{printed}"


def problems(source, build, notRun, shorter):
    pages = [Page(source, path) for pattern in PAGES for path in sorted(source.glob(pattern))]
    yield from blockProblems(pages)
    yield from linkProblems(pages, source)
    yield from spanProblems(pages, source, build)
    yield from listProblems(pages, [*notRun, *shorter])
    for page in pages:
        with tempfile.TemporaryDirectory() as scratch:
            yield from runProblems(page, notRun, shorter, source, build, pathlib.Path(scratch))


def main():
    source, build = (pathlib.Path(name).resolve() for name in sys.argv[1:])
    found = list(problems(source, build, NOT_RUN, SHORTER))
    print("\n".join(found) if found else "the pages are true")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
