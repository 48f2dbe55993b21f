"""The check of call entries finds the methods that lack theirs, and no others."""

import unittest

import call_entries

HEADER = """
class List : public Base
{
public:
    int Size() const
    {
        return m_size;
    }
};
"""


def method(*body, head="void List::Fill(int rows)"):
    return "\n".join([head, "{", *body, "}", ""])


class CallEntries(unittest.TestCase):
    def faults(self, text):
        return call_entries.faults_of(text, call_entries.classes_of(HEADER))

    def test_a_method_with_its_entry_is_right(self):
        entry = '    _CallEntry call("List::Fill", __FILE__, __LINE__);'
        cases = [
            method(entry, "", "    Clear();"),
            method(entry),
            method(entry, "", "    Clear();", head="void List::Fill(int rows,\n    int more) const"),
            method(
                '    _CallEntry call("List::List", __FILE__, __LINE__);',
                head="List::List(Window *parent)\n    : Base(parent), m_size(0)",
            ),
            method(
                '    _CallEntry call("List::~List", __FILE__, __LINE__);', head="List::~List()"
            ),
            method(
                '    _CallEntry call("List::operator()", __FILE__, __LINE__);',
                head="bool List::operator()(const Row &a, const Row &b) const",
            ),
            method(
                '    _CallEntry call("List::operator+=", __FILE__, __LINE__);',
                head="List &List::operator+=(int rows)",
            ),
        ]
        for text in cases:
            with self.subTest(text=text):
                self.assertEqual(self.faults(text), [])

    def test_a_method_without_its_entry_is_told(self):
        cases = [
            method(),
            method("    Clear();"),
            method('    _CallEntry call("List::Full", __FILE__, __LINE__);'),
            method('    _CallEntry call("Fill", __FILE__, __LINE__);'),
            method('    _CallEntry call("List::Fill", __FILE__, __LINE__);', "    Clear();"),
            method("    Clear();", '    _CallEntry call("List::Fill", __FILE__, __LINE__);'),
            method(head="std::set<ostrel::Path> List::Fill()"),
            method(head="List::List(Window *parent) : Base(parent)"),
            method(head="bool List::operator()(int a) const"),
        ]
        for text in cases:
            with self.subTest(text=text):
                self.assertEqual(len(self.faults(text)), 1)

    def test_what_is_no_method_needs_no_entry(self):
        cases = [
            method(head="void Fill(int rows)"),
            method(head="void Other::Fill(int rows)"),
            "bool List::s_isFull = List::Ask();\n",
            "BEGIN_EVENT_TABLE(List, Base)\n    EVT_TIMER(wxID_ANY, List::Fill)\nEND_EVENT_TABLE()\n",
            "List::List() = default;\n",
        ]
        for text in cases:
            with self.subTest(text=text):
                self.assertEqual(self.faults(text), [])


if __name__ == "__main__":
    unittest.main()
