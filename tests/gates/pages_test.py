#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""pages.py finds what is wrong with a page, and nothing in a page that is right."""
import pathlib
import tempfile
import unittest

import pages

GOOD = """# Title

## A heading, with `code`

[here](#a-heading-with-code), [there](docs/other.md#far-away), [elsewhere](https://example.org/), `./dev demo` makes
`docs/other.md`. ![A picture](docs/picture.png)

```sh
NAME=blue   # kept for the next line
echo "$NAME" \\
    > file
cat file
```

```text
blue
```

```sh
vekcam --sim && camera /dev/video7
./dev test
```
"""


class PagesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.source, self.build = (pathlib.Path(folder.name).resolve() / name for name in ("source", "build"))
        for path in (self.source / "docs", self.build):
            path.mkdir(parents=True)
        (self.source / "docs/other.md").write_text("# Other\n\n## Far away\n")
        (self.source / "docs/picture.png").touch()
        self.program(self.source / "dev", "echo '  demo   x'; echo '  test   x'")
        self.program(self.build / "vekcam", "echo '  info   x'")

    def program(self, path, text):
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def found(self, page, notRun=(("README.md", "./dev test"),), shorter=None):
        shorter = {("README.md", "vekcam --sim && camera /dev/video7"): "vekcam"} if shorter is None else shorter
        (self.source / "README.md").write_text(page)
        return "\n".join(pages.problems(self.source, self.build, dict.fromkeys(notRun, "a reason"), shorter))

    def testARightPage(self):
        self.assertEqual(self.found(GOOD), "")

    def testWhatIsWrong(self):
        for old, new, problem in (
                ("cat file", "cat nofile", "README.md:8: fails: cat nofile"),
                ("cat file", "cat \"file", "README.md:8: fails: cat \"file"),
                ("cat file", "false | cat", "fails: false | cat"),
                ("cat file", "exit 0", "fails: exit 0"),
                ("cat file", "sudo true", "a test installs nothing"),
                ("\nblue", "\ngreen", "shows\ngreen\nbut this is printed:\nblue"),
                ("./dev test\n", "", "is gone: ./dev test"),
                ("./dev test\n", "./dev test now\n", "is gone: ./dev test"),
                ("#a-heading", "#no-heading", "#no-heading-with-code has no such heading"),
                ("md#far", "md#near", "docs/other.md#near-away has no such heading"),
                ("(docs/other.md#far-away)", "(docs/none.md)", "docs/none.md is not there"),
                ("docs/picture", "docs/no-picture", "docs/no-picture.png is not there"),
                ("`docs/other.md`", "`docs/none.md`", "`docs/none.md` is not there"),
                ("`./dev demo`", "`./dev dome`", "knows no dome"),
                ("`./dev demo`", "`vekcam convert`", "knows no convert"),
                ("```sh", "```", "README.md:8: a block of the language ''"),
                ("```sh", "```bash", "README.md:8: a block of the language 'bash'"),
                ("```text", "```text\n\nvekcam info", "README.md:15: a command in a block that is not run"),
                ("# Title", "# Title\n\n    vekcam info", "README.md:3: a command that stands in no shell block"),
                ("./dev test\n```", "./dev test", "README.md:19: a block without an end")):
            with self.subTest(new):
                self.assertIn(old, GOOD)
                self.assertIn(problem, self.found(GOOD.replace(old, new)))

    def testAShorterCommandMustBeInThePage(self):
        self.assertIn("is gone: vekcam info", self.found(GOOD, shorter={("README.md", "vekcam info"): "true"}))

    def testCommandsStartInTheSourcesAndLeaveThemAlone(self):
        page = "```sh\ntest -f docs/picture.png && rm -r docs && test -x build/release/vekcam\n```\n"
        self.assertEqual(self.found(page, (), {}), "")
        self.assertTrue((self.source / "docs/picture.png").exists())

    def testTheBuildUnderTestServesForPresetsAndForTheLibrary(self):
        (self.build / "libVekTrgApi.so.2").touch()
        page = "```sh\ncmake --preset some && cmake --build --preset some -j 2\nbuild/some/vekcam\n" \
               "cmake --build build --target VekTrgApi\ntest -f build/libVekTrgApi.so.2\n```\n"
        self.assertEqual(self.found(page, (), {}), "")

    def testACameraThatIsNamedIsASimulatedOne(self):
        self.program(self.build / "vekcam", """
            if [ "$1" = emulate ]; then
                while [ "$1" != -- ]; do [ "$1" = --node ] && export NODE=$2; shift; done
                shift
                exec "$@"
            fi""")
        page = "```sh\ntest $NODE = /dev/video7\ntest -z \"$NODE\"\n```\n"
        self.assertEqual(self.found(page, (), {}), "")
        page = "```sh\nfalse /dev/video7 | true\n```\n"
        self.assertIn("fails: false /dev/video7 | true", self.found(page, (), {}))


if __name__ == "__main__":
    unittest.main()
