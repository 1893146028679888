"""Every rule of lint_sources.py finds what it forbids and passes what it allows."""

import tempfile
import unittest
from pathlib import Path

import lint_sources


class LintTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = Path(directory.name)

    def findings(self, text, path="network/NNLayer.cpp"):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        return [str(finding) for finding in lint_sources.lint(self.root)]

    def make(self, *paths):
        for path in paths:
            (self.root / path).parent.mkdir(parents=True, exist_ok=True)
            (self.root / path).write_text("", encoding="utf-8")

    def assert_clean(self, text, path="network/NNLayer.cpp"):
        self.assertEqual(self.findings(text, path), [])

    def assert_found(self, text, expected, path="network/NNLayer.cpp"):
        found = self.findings(text, path)
        self.assertEqual(len(found), 1, found)
        self.assertIn(expected, found[0])

    def test_includes_point_down(self):
        self.make("base/Reporting.hpp", "config/Property.hpp", "modelio/NNIO.hpp", "driver/CommandTable.hpp")

        self.assert_clean('#include "config/Property.hpp"\n#include "base/Reporting.hpp"\n#include <vector>\n')
        self.assert_clean('// #include "modelio/NNIO.hpp"\n')
        self.assert_found('\n#include "modelio/NNIO.hpp"\n', "NNLayer.cpp:2: ")
        self.assert_found('#include "driver/CommandTable.hpp"\n', "stands above")

    def test_the_entry_stands_on_top_and_the_services_at_the_bottom(self):
        self.make("config/Property.hpp", "dfttools/DFTTool.hpp")

        self.assert_clean('#include "dfttools/DFTTool.hpp"\n', "driver/CommandTable.cpp")
        self.assert_found('#include "config/Property.hpp"\n', "stands above", "base/MyTimer.cpp")

    def test_quoted_includes_start_at_src(self):
        self.make("network/NNLayer.hpp")

        self.assert_clean('#include "network/NNLayer.hpp"\n')
        self.assert_found('#include "NNLayer.hpp"\n', "no file of src")

    def test_folders_are_known(self):
        self.assert_found("", "no place in the order", "misc/Things.cpp")

    def test_only_reporting_prints(self):
        for statement in ("std::printf(x);", "puts(x);", "std::cout << x;", "std::fprintf(stderr, x);"):
            with self.subTest(statement):
                self.assert_found(f"void f() {{ {statement} }}\n", "prints")
        self.assert_clean('void f() { std::fprintf(file, "a"); std::snprintf(b, n, "printf("); } // printf(\n')
        self.findings("")
        self.assert_clean("void f() { std::printf(x); std::abort(); std::fflush(stdout); }\n", "base/Reporting.cpp")

    def test_only_reporting_ends_the_process(self):
        for statement in ("exit(1);", "std::exit(1);", "std::_Exit(1);", "abort();", "std::quick_exit(0);"):
            with self.subTest(statement):
                self.assert_found(f"void f() {{ {statement} }}\n", "ends the process")
        self.assert_clean("void f() { onexit(1); guard.abort(); }\n")

    def test_messages(self):
        for start in ("cannot open", "#elements", "%d atoms", "L-BFGS failed", "Adam's alpha", "NaN at"):
            with self.subTest(start):
                self.assert_clean(f'void f() {{ stopWithMessage("{start}: %s", name); }}\n')
        self.assert_clean("void f() { stopWithMessage(text.c_str()); }\n")
        self.assert_found('void f() { stopWithMessage("Cannot open"); }\n', "lower case")
        self.assert_found('void f() { stopWithMessage("cannot "\n    "open\\n"); }\n', "line break")

    def test_files_are_not_long(self):
        self.assert_clean("\n" * lint_sources.MAX_LINES)
        self.assert_found("\n" * (lint_sources.MAX_LINES + 1), "701 lines")

    def test_no_raw_allocation(self):
        for statement in ("new int;", "new (p) T;", "new std::string;", "delete p;", "delete[] p;", "delete (p);"):
            with self.subTest(statement):
                self.assert_found(f"auto x = 0; void f() {{ {statement} }}\n", "raw allocation")
        for call in ("malloc(8)", "std::free(p)", "std::aligned_alloc(64, n)"):
            with self.subTest(call):
                self.assert_found(f"void f() {{ {call}; }}\n", "raw allocation")
        self.assert_clean("struct S { S(const S&) = delete; int newSize; void deleteAll(); }; // new things\n")
        self.assert_clean("void* f() { return ::operator new (8); }\n", "base/AlignedBuffer.hpp")
        self.assert_clean("void f() { lbfgs_free(p); buffer.free(); }\n")

    def test_no_unbounded_text_functions(self):
        for call in ("sprintf(b, f)", "std::strcpy(b, s)", "strcat(b, s)", "gets(b)", "vsprintf(b, f, v)"):
            with self.subTest(call):
                self.assert_found(f"void f() {{ {call}; }}\n", "overrun")
        self.assert_clean("void f() { std::snprintf(b, n, s); std::fgets(b, n, file); std::vsnprintf(b, n, f, v); }\n")

    def test_scanned_text_has_a_width(self):
        self.assert_clean('void f() { std::sscanf(line, "%63s %f %*d", a, b); }\n')
        self.assert_found('void f() { std::sscanf(line, "%d %s", a, b); }\n', "without a width")
        self.assert_found('void f() { std::sscanf(line, "%[a-z]", a); }\n', "without a width")

    def test_characters_and_raw_strings_are_no_code(self):
        self.assert_clean("""const char quote = '"'; const int big = 1'000'000; const char* s = "new int";\n""")
        self.assert_clean('const char* help = R"(exit(1); "new" x)";\n')
        self.assert_found("""const char quote = '"'; void f() { exit(1); }\n""", "ends the process")


if __name__ == "__main__":
    unittest.main()
