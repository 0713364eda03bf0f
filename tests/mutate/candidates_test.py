"""What candidates.py takes for a place to change, and what it leaves alone."""

import random
import unittest

from candidates import choose, hide, mutants


def texts(source):
    """The source after each of its mutants."""
    return {mutant.apply(source) for mutant in mutants("a.cpp", source)}


class CandidatesTest(unittest.TestCase):
    def test_operators_are_exchanged(self):
        self.assertIn("x = a >= b;", texts("x = a < b;"))
        self.assertIn("x = a <= b;", texts("x = a < b;"))
        self.assertIn("return a || b;", texts("return a && b;"))
        self.assertIn("return a;", texts("return !a;"))

    def test_brackets_of_templates_are_no_operators(self):
        self.assertEqual(texts("std::vector<int> list;\n"), set())

    def test_numbers_change_by_one_and_never_below_nothing(self):
        self.assertEqual(texts("f(7u);"), {"f(8u);", "f(6u);"})
        self.assertEqual(texts("f(0);"), {"f(1);"})
        self.assertEqual(texts("f(0600);"), {"f(0601);", "f(0577);"})
        self.assertEqual(texts("f(0x10);"), {"f(17);", "f(15);"})
        self.assertEqual(texts("f(a1, sha256);"), set())

    def test_conditions_hold_always_and_never(self):
        source = "if (isOpen(a)) {\n"
        self.assertEqual(
            texts(source), {"if (true || (isOpen(a))) {\n", "if (false && (isOpen(a))) {\n"}
        )

    def test_conditions_that_declare_are_left_alone(self):
        self.assertEqual(texts("if (const A* a = find(b)) {"), set())
        self.assertEqual(texts("while (auto* const a = find(b)) {"), set())

    def test_a_condition_keeps_its_literals(self):
        self.assertIn('if (false && (f("/"))) {\n', texts('if (f("/")) {\n'))

    def test_statements_are_dropped_and_declarations_are_not(self):
        source = "{\n  close(number_);\n  int count;\n  Guard lock(mutex);\n  size_ += n;\n}\n"
        dropped = {m.line for m in mutants("a.cpp", source) if m.kind == "statement"}
        self.assertEqual(dropped, {2, 5})

    def test_a_statement_of_several_lines_is_dropped_whole(self):
        source = "{\n  append(first,\n         second);\n}\n"
        self.assertIn("{\n  ;\n}\n", texts(source))

    def test_returns_give_nothing(self):
        self.assertIn("return {};", texts("return size_;"))

    def test_comments_texts_and_directives_are_left_alone(self):
        source = '#define N 3\n// a < b\n/* if (x) */ "a && b" \'1\' R"(1 + 1)"\n'
        self.assertEqual(texts(source), set())
        self.assertEqual(len(hide(source)), len(source))

    def test_what_is_asserted_while_compiling_is_left_alone(self):
        self.assertEqual(texts("static_assert(sizeof(int) == 4);"), set())

    def test_the_choice_is_repeatable_and_takes_one_of_a_line(self):
        found = mutants("a.cpp", "x = 1 + 2;\ny = 3 + 4;\n")
        chosen = choose(found, 9, random.Random(1))
        self.assertEqual(chosen, choose(found, 9, random.Random(1)))
        self.assertEqual(sorted(m.line for m in chosen), [1, 2])


if __name__ == "__main__":
    unittest.main()
