"""The page's modules that need nothing to look at, as tables, in the browser that runs them."""

import json
import pathlib
import re
import unittest

from page import PageTest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# As the sheet tells them.
STATES = json.loads(re.search(r'"states": (\["unknown", .*?\])', (ROOT / "docs" / "api.md").read_text()).group(1))


class Modules(PageTest):
    COUNT = 1

    def setUp(self):
        super().setUp()
        self.page = self.open_page()

    def check(self, script, cases):
        """Runs a script for each case, which finds it as `given`, and compares what it returns."""
        for given, wanted in cases:
            with self.subTest(given=given):
                self.page.run(f"window.given = {given}")
                self.assertEqual(self.page.run_module(f"const given = window.given; {script}"), wanted)

    def test_ranges_are_read_as_the_server_writes_them(self):
        self.check(
            """const { Numbers } = await import('/ranges.js');
            const numbers = new Numbers(given[0], given[1]);
            return Array.from({ length: given[1] }, (_, place) => numbers.at(place)).concat(
                given[2].map((frame) => numbers.placeOf(frame)))""",
            [
                ("['1-4', 4, [1, 4, 0, 5]]", [1, 2, 3, 4, 0, 3, -1, -1]),
                ("['7', 1, [7]]", [7, 0]),
                ("['-2-1', 4, [-2, 1]]", [-2, -1, 0, 1, 0, 3]),
                ("['1-10x3', 4, [7, 8]]", [1, 4, 7, 10, 2, -1]),
                ("['1-3,7,10-20x5', 7, [7, 15, 16]]", [1, 2, 3, 7, 10, 15, 20, 3, 5, -1]),
            ],
        )

    def test_sets_of_places_are_changed_and_told(self):
        self.check(
            """const { Numbers, Places } = await import('/ranges.js');
            const places = new Places();
            for (const [from, to, isIn] of given[2]) places.change(from, to, isIn);
            return [places.range(new Numbers(given[0], given[1])), places.count,
                    places.has(2), places.meets(5, 8)]""",
            [
                ("['1-10', 10, []]", ["", 0, False, False]),
                ("['1-10', 10, [[2, 5, true]]]", ["3-5", 3, True, False]),
                ("['1-10', 10, [[2, 5, true], [5, 7, true]]]", ["3-7", 5, True, True]),
                ("['1-10', 10, [[5, 7, true], [2, 5, true]]]", ["3-7", 5, True, True]),
                ("['1-10', 10, [[0, 9, true], [3, 4, false]]]", ["1-3,5-9", 8, True, True]),
                ("['1-10', 10, [[0, 9, true], [0, 9, false]]]", ["", 0, False, False]),
                ("['1-10', 10, [[0, 3, true], [6, 9, true], [2, 7, true]]]", ["1-9", 9, True, True]),
                ("['1-10', 10, [[0, 3, true], [6, 9, true], [2, 7, false]]]", ["1-2,8-9", 4, False, True]),
                ("['1-20x2', 10, [[0, 3, true], [9, 10, true]]]", ["1-5x2,19", 4, True, False]),
                ("['1-3,7,9', 5, [[1, 5, true]]]", ["2-3,7,9", 4, True, False]),
            ],
        )

    def test_a_stretch_of_the_sheet_tells_its_worst_and_how_many(self):
        sheet = """const { Sheet } = await import('/sheet-data.js');
            const states = ['unknown', 'ok', 'missing', 'too-small', 'outlier'];
            const count = 2000;
            const head = { format: 0, pattern: '', pass: 1, range: '1-2000', count, states, counts: {} };
            const text = new TextEncoder().encode(JSON.stringify(head) + '\\n');
            const bytes = new Uint8Array(text.length + count).fill(1);
            bytes.set(text);
            const sheet = new Sheet(bytes);
            const isTaken = sheet.apply({ pass: 2, counts: {}, changed: given[0] });
            const { worst, bad } = sheet.stretch(given[1], given[2], { worst: 0, bad: 0 });
            return [isTaken, sheet.stateOfRank(worst), bad, sheet.nextBad(0, 1), sheet.nextBad(0, -1)]"""
        self.check(
            sheet,
            [
                ("[{}, 0, 2000]", [True, "ok", 0, -1, -1]),
                ("[{ outlier: '300' }, 0, 2000]", [True, "outlier", 1, 299, 299]),
                ("[{ outlier: '300', missing: '301-310' }, 0, 2000]", [True, "missing", 11, 299, 309]),
                ("[{ outlier: '300', missing: '301-310' }, 0, 300]", [True, "outlier", 1, 299, 309]),
                ("[{ 'too-small': '2-1000x2' }, 1, 600]", [True, "too-small", 300, 1, 999]),
                ("[{ unknown: '5' }, 0, 10]", [True, "unknown", 0, -1, -1]),
                ("[{ missing: '2001' }, 0, 2000]", [False, "ok", 0, -1, -1]),
                ("[{ curious: '1' }, 0, 2000]", [False, "ok", 0, -1, -1]),
            ],
        )

    def test_each_state_of_the_server_has_a_name_a_colour_a_shape_and_a_place_among_the_others(self):
        self.assertIn("sparks", STATES)
        told = self.page.run_module(
            f"""const {{ BY_WORSE, colours, drawShape, stateName }} = await import('/kinds.js');
            const {{ GERMAN }} = await import('/german.js');
            const shapes = new Map();
            const tell = (state) => {{
                const canvas = Object.assign(document.createElement('canvas'), {{ width: 24, height: 24 }});
                const ink = canvas.getContext('2d', {{ willReadFrequently: true }});
                drawShape(ink, state, 12, 12, 18);
                const shape = ink.getImageData(0, 0, 24, 24).data.join();
                const twin = shapes.get(shape) ?? null;
                shapes.set(shape, state);
                return {{ state, place: BY_WORSE.indexOf(state), german: GERMAN[stateName(state)] ?? null, twin,
                         hasColour: colours.of(state) !== colours.get('--text') }};
            }};
            tell('a state that nobody knows');
            return [{json.dumps(STATES)}.map(tell), BY_WORSE.length]"""
        )
        states, places = told
        for state in states:
            with self.subTest(state=state["state"]):
                self.assertGreaterEqual(state["place"], 0)
                self.assertIsNotNone(state["german"])
                self.assertTrue(state["hasColour"])
                # What nobody has looked at is a dot, as what nobody knows.
                self.assertEqual(state["twin"], "a state that nobody knows" if state["state"] == "unknown" else None)
        self.assertEqual(sorted(state["place"] for state in states), list(range(places)))

    def test_the_worst_of_many_is_the_same_to_the_server_and_the_page(self):
        source = (ROOT / "web" / "jobs" / "FrameSnapshot.cpp").read_text()
        order = re.search(r"k_by_worse = \{(.*?)\}", source, re.S).group(1)
        served = [re.sub(r"(?<=[a-z])(?=[A-Z])", "-", name).lower() for name in re.findall(r"CheckState::(\w+)", order)]
        shown = self.page.run_module("return (await import('/kinds.js')).BY_WORSE")
        self.assertEqual([state for state in shown if state != "unknown"], served)

    def test_cells_are_as_large_as_fits(self):
        self.check(
            """const { layOut, placeAt } = await import('/sheet-layout.js');
            const layout = layOut(...given);
            const cells = Math.ceil((given[3] - given[2]) / layout.each);
            return [layout.each, layout.columns * layout.rows >= cells, layout.columns * layout.width <= given[0],
                    layout.rows * layout.height <= given[1], placeAt(layout, layout.width * 1.5, 1)]""",
            [
                ("[1000, 400, 0, 10]", [1, True, True, True, 1]),
                ("[1000, 400, 100, 2000]", [1, True, True, True, 101]),
                ("[1000, 400, 0, 1000000]", [2000, True, True, True, 2000]),
                ("[330, 200, 0, 1000000]", [12500, True, True, True, 12500]),
            ],
        )


if __name__ == "__main__":
    unittest.main()
