"""The check of local names finds each kind of name, and lets pass what does not meet."""

import pathlib
import tempfile
import unittest

import local_names


def local(line):
    return f"namespace a\n{{\n\nnamespace\n{{\n\n{line}\n\n}} // namespace\n\nvoid Shared();\n}}\n"


class LocalNames(unittest.TestCase):
    def test_each_declaration_has_its_name(self):
        cases = [
            ("class Plot : public Verb", {"Plot"}),
            ("enum class Kind", {"Kind"}),
            ("using Words = std::vector<std::string>;", {"Words"}),
            ("constexpr int k_border = 8;", {"k_border"}),
            ("constexpr std::array<int, 2> k_sizes{1, 2};", {"k_sizes"}),
            ('const char *const k_section = "Window";', {"k_section"}),
            ("const char k_digits[] = {'0'};", {"k_digits"}),
            ("bool IsDigit(char c)", {"IsDigit"}),
            ("std::vector<std::pair<int, int>> Runs(const Items &items)", {"Runs"}),
            ("template <typename Float> Kind KindOf(Float value)", {"KindOf"}),
            ("    int Method(int a)", set()),
            ("using ostrel::String;", set()),
            ("// Whether it is (perhaps) there.", set()),
            ('TEST(Name, IsNone) { Call(1); }', set()),
        ]
        for line, names in cases:
            with self.subTest(line=line):
                self.assertEqual(set(local_names.names_of(local(line))), names)

    def repeated(self, first, second, folder="a"):
        with tempfile.TemporaryDirectory() as name:
            root = pathlib.Path(name)
            for file, text in (("a/One.cpp", first), (f"{folder}/Two.cpp", second)):
                (root / file).parent.mkdir(exist_ok=True)
                (root / file).write_text(text)
            return [(local, str(at), str(other)) for local, at, other in local_names.find_repeated(root)]

    def test_a_name_of_two_files_is_told_with_both(self):
        function = local("int Count(int a)")
        self.assertEqual(self.repeated(function, function), [("Count", "a/Two.cpp", "a/One.cpp")])
        self.assertEqual(self.repeated(local("class Count"), function), [("Count", "a/Two.cpp", "a/One.cpp")])

    def test_names_that_do_not_meet_pass(self):
        function = local("int Count(int a)")
        self.assertEqual(self.repeated(function, function, folder="b"), [], "another folder")
        self.assertEqual(self.repeated(function, function, folder="bench"), [], "a program each")
        self.assertEqual(self.repeated(function, "int Count(int a);\n"), [], "one is not local")
        alias = local("using Clock = std::chrono::steady_clock;")
        self.assertEqual(self.repeated(alias, alias), [], "the same type")
        other = local("using Clock = std::chrono::system_clock;")
        self.assertEqual(len(self.repeated(alias, other)), 1, "another type")


if __name__ == "__main__":
    unittest.main()
