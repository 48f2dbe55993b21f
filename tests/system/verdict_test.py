"""The window and `corvan check` on the same frames: one verdict."""

import json
import os
import random
import re
import unittest

from farm import PATIENCE
from window import WindowTest

STATES = {"Missing": "missing", "MinSize": "too-small", "Neighbors": "outlier"}
USUAL = 1000


def random_range(chance):
    parts = []
    for _ in range(chance.randrange(1, 4)):
        first = chance.randrange(-10, 40)
        parts.append(f"{first}-{first + chance.randrange(0, 12)}" + chance.choice(["", "x2", "x3"]))
    return ",".join(parts)


def random_numbers(chance):
    """Parameters of a job that renumbers its frames, or does not."""
    choices = {
        "RenumberStart": [str(chance.randrange(-20, 200))],
        "RenumberBy": ["1", "2", "3"],
        "SequenceBy": ["0.5", "2", "0.3"],
        "PacketSize": ["1", "3", "8"],
    }
    return {name: chance.choice(texts) for name, texts in choices.items() if chance.random() < 0.4}


class Verdict(WindowTest):
    COUNT = 1
    ROUNDS = 5

    def make_files(self, chance, paths, min_size, variation):
        """Some are missing; the sizes of the others lie around every bound."""
        band = USUAL * variation // 100
        odd = [0, min_size - 1, min_size, min_size + 1]
        odd += [USUAL + sign * (band + by) for sign in (-1, 1) for by in (-1, 0, 1)]
        for path in paths:
            if chance.random() < 0.15:
                continue
            os.makedirs(os.path.dirname(path), exist_ok=True)
            size = USUAL if chance.random() < 0.6 else chance.choice(odd)
            with open(path, "wb") as file:
                file.truncate(max(size, 0))

    def verdict_of_window(self, job, options, name):
        """The state of each bad path, as the trace has it while the bad frames are looked for."""
        window = self.open_window(job, name=name, options=options)
        window.log.wait_for("Finished scanning")
        window.press("ctrl+b")
        window.log.wait_for("Requeue bad frames...")
        window.log.seen.clear()
        window.press("ctrl+r")
        window.log.wait_for("Requeue selected frames...")
        found = re.findall(r"(/\S+\.raw) bad: (\w+)", "\n".join(window.log.seen))
        self.assertEqual(window.close(), 0)
        return {path: STATES[reason] for path, reason in found}

    def compare(self, job, rules, name, make_files):
        """Checks a job with these rules, before and after its files are made, and looks at it in a
        window; gives the verdict that is the same."""
        min_size, offset, variation = rules
        options = [f"--min-size={min_size}", f"--offset={offset}", f"--variation={variation}"]

        def checked():
            process = self.start_corvan("check", "--json", *options, job)
            output, errors = process.communicate(timeout=PATIENCE)
            self.assertIn(process.returncode, (0, 1), errors)
            return json.loads(output)["tables"][0]["frames"]

        make_files([frame["path"] for frame in checked()])
        verdict = {f["path"]: f["state"] for f in checked() if f["state"] != "ok"}
        settings = (
            f"[Analysis]\nMinSize = {min_size}\nFrameOffset = {offset}\nSizeVariation = {variation}\n"
        )
        self.assertEqual(self.verdict_of_window(job, settings, name), verdict)
        return verdict

    def submit_paused(self, pattern, frames, *settings):
        return self.corvan(
            *("submit", "Command", "--paused", "--set", "Program=true", "--format", pattern),
            *(f"--range={frames}", *settings),
        ).strip()

    def test_is_the_same_for_random_jobs(self):
        chance = random.Random(20)
        for number in range(self.ROUNDS):
            min_size, offset = chance.choice([1, 500, 900]), chance.choice([0, 1, 5, 50])
            variation = chance.choice([0, 5, 15, 40, 150])
            settings = [f"--set={key}={text}" for key, text in random_numbers(chance).items()]
            pattern = chance.choice(["f.%04d.raw", "%d.raw", "f%hhd.raw"])
            job = self.submit_paused(
                str(self.folder / f"r{number}" / pattern), random_range(chance), *settings
            )
            with self.subTest(number=number):
                self.compare(
                    job, (min_size, offset, variation), f"w{number}",
                    lambda paths: self.make_files(chance, paths, min_size, variation),
                )

    def test_is_the_same_for_a_job_with_every_state(self):
        sizes = {3: None, 7: 499, 12: 5 * USUAL}

        def make_files(paths):
            os.makedirs(os.path.dirname(paths[0]))
            for frame, path in enumerate(paths, 1):
                size = sizes.get(frame, USUAL)
                if size is not None:
                    with open(path, "wb") as file:
                        file.truncate(size)

        job = self.submit_paused(str(self.folder / "every" / "f.%04d.raw"), "1-24")
        verdict = self.compare(job, (500, 2, 100), "window", make_files)
        path = str(self.folder / "every" / "f.%04d.raw")
        self.assertEqual(
            verdict, {path % 3: "missing", path % 7: "too-small", path % 12: "outlier"}
        )


if __name__ == "__main__":
    unittest.main()
