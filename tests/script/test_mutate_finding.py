# SPDX-License-Identifier: Apache-2.0
"""Which mutations script/mutate finds in C++."""
from __future__ import annotations

import pytest

from mutation.mutations import find_mutations
from mutation.tokens import TokenList


def changes(code: str) -> list[str]:
    tokens = TokenList(code)
    return [mutation.describe(tokens) for mutation in find_mutations(tokens)]


def in_function(statements: str) -> list[str]:
    return changes(f"int f(int a, int b) {{ {statements} }}")


@pytest.mark.parametrize("statements, expected", [
    ("return a == b;", ["a == b -> {}", "a == b -> !="]),
    ("return a <= b;", ["a <= b -> {}", "a <= b -> <"]),
    ("return a && b;", ["a && b -> {}", "a && b -> ||"]),
    ("return a - b;", ["a - b -> {}", "a - b -> +"]),
    ("g(true);", ["g(true); -> nothing", "true -> false"]),
    ("g(0x0f, 1'000u);", ["g(0x0f, 1'000u); -> nothing", "0x0f -> 16", "1'000u -> 1001u"]),
    ('g("text");', ['g("text"); -> nothing', '"text" -> ""']),
    ('g("");', ['g(""); -> nothing', '"" -> "mutant"']),
    ("g('x');", ["g('x'); -> nothing", r"'x' -> '\1'"]),
    ("if (a < b) { g(); }", ["a < b -> !(a < b)", "a < b -> <=", "g(); -> nothing"]),
    ("if (!a) { g(); }", ["( ! a -> nothing", "g(); -> nothing"]),
    ("if (const auto c = h(a)) { g(); }", ["const auto c = h(a) -> const auto c = h(a); !(c)", "g(); -> nothing"]),
    ("while (a) { break; }", ["a -> !(a)", "break; -> nothing"]),
    ("while (a) { continue; }", ["a -> !(a)", "continue; -> break;"]),
    ("int c = a ? -b : a;", ["a -> !(a)", "? - b -> nothing"]),
    ("a = b;", ["a = b; -> nothing"]),
    ("a += b;", ["a += b; -> nothing", "a += b -> -="]),
    ("++a;", ["++a; -> nothing", "; ++ a -> --"]),
    ("throw a;", ["throw a; -> nothing"]),
    ("return;", ["return; -> nothing"]),
], ids=lambda value: value if isinstance(value, str) else "")
def test_change_is_found(statements, expected):
    found = in_function(f"; {statements}")

    assert sorted(found) == sorted(expected)


@pytest.mark.parametrize("code", [
    '#include "a.h"\n#define A \\\n  1 + 2',
    "// a == b\n/* true */",
    "static_assert(1 + 1 == 2);",
    'void f() { ZLOG_INFO("event", "value", 1 + 2); }',
    "[[nodiscard(\"text\")]] int f();",
    "struct A { virtual void f() = 0; };",
    "class A { public: explicit A(B& b); A(const A&) = delete; };",
    'extern "C" int f();',
    "std::array<int, 5> a;",
    "std::vector<int> f(const A& a, B&& b, C* c);",
    "bool operator==(const A& a, const A& b);",
], ids=["directives", "comments", "static assertion", "log", "attribute", "pure virtual", "constructors",
        "linkage", "template argument", "references", "operator's name"])
def test_nothing_is_changed(code):
    assert changes(code) == []


def test_declarations_are_not_left_out():
    assert in_function("std::string c(x()); A d{b}; const auto e = x(); T* p = x(); ") == []


def test_handlers_are_not_left_out():
    assert in_function("; try { g(); } catch (const A& a) { h(); } k(a);") == [
        "g(); -> nothing", "h(); -> nothing", "k(a); -> nothing"]


def test_texts_that_are_joined_are_not_subtracted():
    assert not any("-> -" in change for change in in_function('g("a" + c);'))


def test_equal_operators_of_a_line_differ_in_their_neighbours():
    found = in_function("; return a && b && c;")

    assert len([change for change in found if change.endswith("||")]) == 2
    assert len(set(found)) == len(found)


def test_what_the_compiler_computes_is_not_chosen_at_run_time():
    tokens = TokenList("constexpr int a = 1; int f() { return 2; }")

    assert [mutation.slot is None for mutation in find_mutations(tokens)][:1] == [True]
    assert [mutation.slot is None for mutation in find_mutations(tokens) if mutation.replacement == "3"] == [False]


def test_raw_text_with_quotes_is_one_token():
    assert [token.text for token in TokenList('R"x(a"b)x" c').tokens] == ['R"x(a"b)x"', "c"]


def test_unknown_character_is_named():
    with pytest.raises(ValueError, match="no token begins with"):
        TokenList("a 'open")
