"""`corvan check --decode`: real images, read by child processes."""

import json
import os
import pathlib
import re
import resource
import signal
import struct
import time
import unittest
import zlib

from farm import BIN, PATIENCE, FarmTest, children_of, wait_until


def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def png_of(width, height, packed_rows, is_interlaced=False):
    """An image of 8 bits and three channels."""
    head = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, is_interlaced)
    return (
        b"\x89PNG\r\n\x1a\n"
        + chunk(b"IHDR", head)
        + chunk(b"IDAT", packed_rows)
        + chunk(b"IEND", b"")
    )


def png(width=64, height=48, pixel=lambda x, y: bytes((x, y, x ^ y))):
    """A small one, not packed."""
    rows = b"".join(
        b"\0" + b"".join(pixel(x, y) for x in range(width)) for y in range(height)
    )
    return png_of(width, height, zlib.compress(rows, 0))


def dark_png(side, is_interlaced=False):
    """A large one in a small file."""
    # Rows and their marks; of the interlaced there are more than of the plain ones.
    return png_of(side, side, zlib.compress(bytes(3 * side * side + 8 * side), 1), is_interlaced)


def pfm(values, width):
    """An image of floating-point numbers in one channel."""
    head = f"Pf\n{width} {len(values) // width}\n-1.0\n"
    return head.encode() + struct.pack(f"<{len(values)}f", *values)


class DecodeTest(FarmTest):
    def write(self, frame, content, extension="png"):
        (self.folder / f"f.{frame}.{extension}").write_bytes(content)

    def check(self, frames, *arguments, extension="png", status=1):
        """The one table of a check, its frames by number."""
        text = self.corvan(
            "check", "--json", "--decode", "--format", self.folder / f"f.%d.{extension}",
            "--range", frames, *arguments, status=status,
        )
        table = json.loads(text)["tables"][0]
        self.assertEqual(sum(table["counts"].values()), 2 * table["counts"]["files"])
        return table, {row["frame"]: row for row in table["frames"]}


class Decode(DecodeTest):
    def test_finds_nothing_in_sound_images(self):
        for frame in range(1, 201):
            self.write(frame, png(16, 16))
        table, rows = self.check("1-200", status=0)
        self.assertEqual(table["bad"], "")
        self.assertEqual(table["counts"]["ok"], 200)
        self.assertNotIn("detail", rows[1])

    def test_tells_each_kind_of_bad_image_and_why(self):
        good = png()
        for frame in range(1, 21):
            self.write(frame, good)
        self.write(3, good[:-1])
        self.write(6, good[:4000] + bytes(100) + good[4100:])
        self.write(9, png(48, 64))
        self.write(12, png(pixel=lambda x, y: b"\1\2\3"))
        self.write(15, good[:-1000])
        self.write(18, b"")
        (self.folder / "f.20.png").unlink()

        table, rows = self.check("1-20", "--variation", "5")
        expected = {
            3: ("undecodable", "cannot be decoded: the file ends before its last chunk"),
            6: ("undecodable", "PNG library error"),
            9: ("odd-image", "48x64 among 64x48"),
            12: ("blank", "all pixels are 1, 2, 3"),
            15: ("outlier", "cannot be decoded: the file ends before its last chunk"),
            18: ("too-small", "cannot be decoded: the file is empty"),
        }
        for frame, (state, detail) in expected.items():
            self.assertEqual(rows[frame]["state"], state, rows[frame])
            self.assertIn(detail, rows[frame]["detail"])
        self.assertEqual((rows[20]["state"], "detail" in rows[20]), ("missing", False))
        self.assertEqual(table["bad"], "3-18x3,20")
        self.assertEqual(
            table["counts"],
            {"files": 20, "ok": 13, "missing": 1, "too-small": 1, "outlier": 1, "undecodable": 2,
             "odd-image": 1, "blank": 1, "nan": 0},
        )

    def test_finds_values_that_are_no_numbers(self):
        values = [float(i) for i in range(400)]
        self.write(1, pfm(values, 20), "pfm")
        values[7], values[9] = float("nan"), float("inf")
        self.write(2, pfm(values, 20), "pfm")
        _, rows = self.check("1-2", extension="pfm")
        self.assertEqual(rows[1]["state"], "ok")
        self.assertEqual(rows[2]["state"], "nan")
        self.assertEqual(rows[2]["detail"], "1 NaN and 1 infinite of 400 pixels, in Y")

    def test_holds_an_image_against_the_rows_next_to_it(self):
        for frame in range(1, 11):
            self.write(frame, png(64, 48) if frame <= 5 else png(48, 64))
        self.check("1-10", "--offset", "3", status=0)
        # All in one neighbourhood: of its nine others, five are of the other kind.
        table, rows = self.check("1-10", "--offset", "100")
        self.assertEqual(table["counts"]["odd-image"], 10)
        self.assertEqual(rows[1]["detail"], "64x48 among 48x64")

    def test_says_it_to_people_too(self):
        for frame in range(1, 5):
            self.write(frame, png())
        self.write(2, png()[:-1])
        text = self.corvan(
            "check", "--decode", "--format", self.folder / "f.%d.png", "--range", "1-4", status=1
        )
        self.assertIn("4 files: 3 ok, 1 undecodable", text)
        self.assertIn("f.2.png: cannot be decoded: the file ends before its last chunk", text)

    def test_is_not_done_unasked(self):
        for frame in range(1, 4):
            self.write(frame, png()[:-1])
        self.corvan("check", "--format", self.folder / "f.%d.png", "--range", "1-3")


class DecodeWatched(DecodeTest):
    def test_reads_again_only_what_has_changed(self):
        options = self.folder / "options.ini"
        options.write_text("[Analysis]\nRefresh = 20\n")
        good = png()
        bad = good[:4000] + bytes(100) + good[4100:]
        for frame in (1, 2, 3):
            self.write(frame, good)
        process = self.start_corvan(
            "check", "--watch", "--decode", "--format", self.folder / "f.%d.png", "--range", "1-3",
            "--options", options,
        )
        for line in (f"{self.folder}/f.%d.png  1-3", "3 files: 3 ok"):
            self.assertEqual(process.stdout.readline(), line + "\n")

        # Damaged, and by its size and time the same as before.
        file = self.folder / "f.2.png"
        old = file.stat()
        copy = self.folder / "copy"
        copy.write_bytes(bad)
        os.utime(copy, ns=(old.st_atime_ns, old.st_mtime_ns))
        copy.rename(file)
        (self.folder / "f.3.png").unlink()
        self.assertIn("ok -> missing  3 ", process.stdout.readline())
        self.assertEqual(process.stdout.readline(), "3 files: 2 ok, 1 missing\n")

        os.utime(file)
        self.assertIn("ok -> undecodable  2 ", process.stdout.readline())


    def test_leaves_nobody_behind_who_reads(self):
        options = self.folder / "options.ini"
        options.write_text("[Analysis]\nRefresh = 20\n")
        process = self.start_corvan(
            "check", "--watch", "--decode", "--format", self.folder / "f.%d.png", "--range", "1-40",
            "--options", options,
        )
        self.assertEqual(process.stdout.readline(), f"{self.folder}/f.%d.png  1-40\n")
        self.assertIn("40 missing", process.stdout.readline())
        for frame in range(1, 41):
            self.write(frame, png())
        while "40 files: 40 ok" not in process.stdout.readline():
            pass
        # It looks on fifty times a second, and all is as it was.
        wait_until(lambda: not children_of(process.pid))


class DecodeLimits(DecodeTest):
    @unittest.skipIf(
        b"__asan_init" in (BIN / "corvan").read_bytes(), "memory is not limited with sanitizers"
    )
    def test_of_memory_is_kept(self):
        # 147 MB unpacked, which an interlaced image needs in one piece.
        self.write(1, dark_png(7000, is_interlaced=True))
        _, rows = self.check("1", "--decode-memory", "128", status=4)
        self.assertEqual(rows[1]["state"], "ok")
        self.assertEqual(rows[1]["not-looked-at"], "takes more memory than 128 MiB")

    @unittest.skipIf(
        b"__asan_init" in (BIN / "corvan").read_bytes(), "memory is not limited with sanitizers"
    )
    def test_are_no_fault_of_a_frame(self):
        large = dark_png(7000, is_interlaced=True)
        self.write(1, large)
        self.write(2, b"x" * len(large))
        given = ["--decode", "--decode-memory", "128",
                 "--format", self.folder / "f.%d.png", "--range", "1,2"]
        why = f"{self.folder}/f.1.png: takes more memory than 128 MiB"
        done = self.run_corvan("check", *given, status=4)
        self.assertIn("2 files: 1 ok, 1 undecodable", done.stdout)
        self.assertIn(f"  not looked at  1  {why}\n", done.stdout)
        self.assertEqual(done.stderr, f"corvan: could not look into 1 file, {why}\n")

        done = self.run_corvan("delete", "--bad", "--yes", *given, status=4)
        self.assertEqual(done.stdout, f"{self.folder}/f.2.png\n")
        self.assertTrue((self.folder / "f.1.png").exists())

    def test_make_sense_or_are_refused(self):
        frames = ["check", "--format", self.folder / "f.%d.png", "--range", "1"]
        for arguments in (
            ["--decode-jobs", "2"],
            ["--decode", "--decode-jobs", "0"],
            ["--decode", "--decode-seconds", "0"],
            ["--decode", "--decode-memory", "-1"],
            ["--decode", "--decode-memory", "127"],
            ["--decode", "--decode-memory", "many"],
        ):
            with self.subTest(arguments):
                self.run_corvan(*frames, *arguments, status=2)


class DecodeInterrupted(DecodeTest):
    def decoders(self, process):
        """Those of it that are ready: that have seen to it that they end with it."""
        listed = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/children")
        return [int(child) for child in listed.read_text().split() if self.is_ready(child)]

    def is_ready(self, decoder):
        limits = pathlib.Path(f"/proc/{decoder}/limits").read_text()
        return re.search(r"core file size +0 +0", limits) is not None

    def has_gone(self, process):
        try:
            state = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()[0]
        except FileNotFoundError:
            return True
        return state in "ZX"

    def wait_until(self, happened):
        end = time.monotonic() + PATIENCE
        while not happened():
            self.assertLess(time.monotonic(), end)

    @unittest.skipIf(
        resource.getrlimit(resource.RLIMIT_CORE)[1] == 0, "a ready decoder looks like any process"
    )
    def test_leaves_no_decoder(self):
        self.write(1, dark_png(2000))
        for frame in range(2, 501):
            os.link(self.folder / "f.1.png", self.folder / f"f.{frame}.png")
        for how in (signal.SIGINT, signal.SIGKILL):
            with self.subTest(how):
                process = self.start_corvan(
                    "check", "--decode", "--decode-jobs", "2", "--format",
                    self.folder / "f.%d.png", "--range", "1-500",
                )
                self.wait_until(lambda: len(self.decoders(process)) == 2)
                decoders = self.decoders(process)
                # So that they cannot end by themselves.
                for decoder in decoders:
                    os.kill(decoder, signal.SIGSTOP)
                process.send_signal(how)
                self.assertEqual(process.wait(PATIENCE), -how)
                for decoder in decoders:
                    self.wait_until(lambda: self.has_gone(decoder))


if __name__ == "__main__":
    unittest.main()
