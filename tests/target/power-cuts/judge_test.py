#!/usr/bin/env python3
"""The judge finds what it is there to find."""

import contextlib
import copy
import io
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))

from judge import AS_UNDISTURBED, MARK, Answer, Judge, Outcome, State, read_answer  # noqa: E402
from machine import Images, half_way  # noqa: E402
from report import (BAD, GOOD, OTHER, Point, bars, check_against, counts, documented,  # noqa: E402
                    picture, spans, table)
from scenarios import NUMBERS, SCENARIOS, SET_UP, Packages  # noqa: E402

SCENARIO = SCENARIOS[0]


def installed(state, packages, package, **more):
    name, version = package.rsplit("-", 1)
    files = packages.digests(name, NUMBERS[version]) or {}
    record = {"version": f"{NUMBERS[version]} 1700000000\n", "deps": "", **more}
    if files:
        record["files"] = "".join(path[1:] + "\n" for path in files)
    state.records[name] = record
    state.files.update(files)
    state.entries.update({path: ("regular file", "644", "0:0", "") for path in files})
    for file in record:
        state.files[f"/var/pdb/{name}/{file}"] = "digest"
        state.entries[f"/var/pdb/{name}/{file}"] = ("regular file", "644", "0:0", "")


class JudgeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.packages = Packages(Path(cls.folder.name) / "sources", None, None, b"a shell")

    def setUp(self):
        self.end = State(listing=0)
        for package in ("system-3.22", "base-1.0", "alpha-1.1", "office-1.0", "clock-1.0", "calendar-1.0"):
            installed(self.end, self.packages, package)
        self.end.files.update({MARK: "", SET_UP: ""})
        self.end.entries.update({MARK: (), SET_UP: ()})
        self.answer = Answer(True, copy.deepcopy(self.end), 0, "", copy.deepcopy(self.end))
        self.after = self.answer.after

    def outcome(self):
        return Judge(SCENARIO, self.packages, self.end).outcome(self.answer)

    def expect_bad(self, text):
        self.assertIn(text, "; ".join(self.outcome().violations))

    def expect_deviation(self, text):
        outcome = self.outcome()
        self.assertEqual(outcome.violations, [])
        self.assertEqual(outcome.deviations, [text])

    def test_undisturbed(self):
        self.assertEqual(str(self.outcome()), AS_UNDISTURBED)

    def test_reference(self):
        judge = Judge(SCENARIO, self.packages, self.end)
        self.assertTrue(judge.is_reference())
        installed(self.end, self.packages, "former-1.0")
        self.assertFalse(judge.is_reference())

    def test_reference_with_the_former_version(self):
        installed(self.end, self.packages, "alpha-1.0")
        self.assertFalse(Judge(SCENARIO, self.packages, self.end).is_reference())

    def test_reference_without_a_member(self):
        del self.end.records["clock"]
        self.assertFalse(Judge(SCENARIO, self.packages, self.end).is_reference())

    def test_flash_that_cannot_be_mounted(self):
        self.answer = Answer(False)
        self.expect_bad("could not be mounted")

    def test_kernel_that_dies(self):
        self.answer = None
        self.expect_bad("the kernel died")

    def test_torn_file_after_the_cut(self):
        self.answer.before.files["/opt/alpha/0"] = "other"
        self.expect_bad("alpha is listed as installed and torn after the cut")

    def test_missing_file_after_the_next_run(self):
        del self.after.files["/opt/clock/0"]
        self.expect_bad("clock is listed as installed and torn after the next run")

    def test_list_cut_short(self):
        self.after.records["alpha"]["files"] = "opt/alpha/0\n"
        self.expect_bad("alpha is listed as installed and torn")

    def test_empty_list(self):
        self.after.records["alpha"]["files"] = ""
        self.expect_bad("alpha is listed as installed and torn")

    def test_unknown_version(self):
        self.after.records["alpha"]["version"] = "5 1\n"
        self.expect_bad("alpha is listed as installed and torn")

    def test_database_that_does_not_load(self):
        self.answer.before.listing = 139
        self.expect_bad("the database does not load after the cut: status 139")

    def test_run_that_fails(self):
        self.answer.status = 134
        self.expect_bad("status 134")

    def test_unfinished_record(self):
        self.after.records["former"] = {"deps": ""}
        self.expect_bad("an unfinished record of former stays")

    def test_bystander_without_its_record(self):
        del self.after.records["base"]
        for path in [path for path in self.after.entries if path.startswith("/var/pdb/base")]:
            del self.after.entries[path]
        self.expect_bad("base, which the run does not touch, is not what it was")

    def test_bystander_with_another_mode(self):
        self.after.entries["/opt/base/1"] = ("regular file", "600", "0:0", "")
        self.expect_bad("base, which the run does not touch, is not what it was")

    def test_package_whose_file_was_there(self):
        del self.after.records["alpha"]
        self.answer.before.files["/rw/pckg/alpha-1.1.tpk"] = "digest"
        self.expect_bad("alpha is not installed although its file was there")

    def test_package_whose_file_was_not_there(self):
        for path in ("/opt/alpha/0", "/opt/alpha/1", SET_UP):
            del self.after.files[path]
        del self.after.records["alpha"]
        self.expect_deviation("alpha is gone")

    def test_former_version(self):
        installed(self.after, self.packages, "alpha-1.0")
        del self.after.files[SET_UP]
        self.expect_deviation("alpha is still the former one")

    def test_package_that_should_go(self):
        installed(self.after, self.packages, "former-1.0")
        self.expect_deviation("former stays: nobody asks again to uninstall it")

    def test_files_without_an_owner(self):
        self.after.files["/opt/clock/9"] = "digest"
        self.expect_deviation("files without an owner")

    def test_missing_mark(self):
        del self.after.files[MARK]
        self.expect_deviation("nothing says that packages changed")

    def test_install_script_cut_short(self):
        self.after.files[SET_UP] = "other"
        self.expect_deviation("alpha 1.1 without all that its install script does")

    def test_list_that_was_being_renamed(self):
        self.after.files["/var/pdb/clock/files.new"] = "digest"
        self.expect_deviation("a second list of files in a record")

    def test_package_file_that_stays(self):
        self.after.files["/rw/pckg/alpha-1.1.tpk"] = "digest"
        self.expect_deviation("the package file stays in the drop folder")

    def test_bundle_without_its_last_member(self):
        installed(self.after, self.packages, "office-1.0")
        for path in self.packages.digests("calendar", NUMBERS["1.0"]):
            del self.after.files[path]
        del self.after.records["calendar"]
        self.expect_deviation("office has only its first member")

    def test_other_mode_without_another_deviation(self):
        self.after.entries["/opt/alpha/0"] = ("regular file", "600", "0:0", "")
        self.expect_bad("/opt/alpha/0 is not what it should be")

    def test_answer(self):
        text = ("@files\nd1  /flash/a b\n@entries\nregular empty file|644|0:0|'/flash/a b'\n"
                "symbolic link|777|0:0|'/flash/l' -> 'a'\n@records\n/flash/var/pdb/x/version:1 2\n@listing 0\nx\n"
                "@run 0\ninstalled @things\n@files\n@entries\n@records\n@listing 3\n")
        answer = read_answer(text)
        self.assertEqual(answer.before.files, {"/a b": "d1"})
        self.assertEqual(answer.before.entries, {"/a b": ("regular file", "644", "0:0", ""),
                                                 "/l": ("symbolic link", "777", "0:0", "a")})
        self.assertEqual(answer.before.version("x"), 1)
        self.assertEqual((answer.status, answer.before.listing, answer.after.listing), (0, 0, 3))


class ImagesTest(unittest.TestCase):
    def test_half_of_what_changes(self):
        before, after = bytearray(b"\xff" * 8192), bytearray(b"\xff" * 8192)
        after[100:104] = b"abcd"
        after[5000:5002] = b"ef"
        self.assertEqual(half_way(before, after)[100:104], b"abc\xff")
        self.assertEqual(half_way(before, after)[5000:5002], b"\xff\xff")

    def test_one_byte_has_no_middle(self):
        self.assertIsNone(half_way(b"\xff" * 4096, b"\xff" * 4095 + b"a"))

    def test_each_image_once(self):
        images = Images()
        self.assertEqual([images.add(b"a"), images.add(b"b"), images.add(b"a")], [0, 1, 0])
        self.assertEqual((images[1], len(images)), (b"b", 2))


class ReportTest(unittest.TestCase):
    def setUp(self):
        fine, odd, bad = Outcome([], []), Outcome([], ["odd", "late"]), Outcome(["bad"], ["late"])
        self.points = [Point(1, "write", "/a", 0, outcome=fine), Point(2, "unlink", "/b", 1, 5, fine, odd),
                       Point(3, "sync", "", 2), Point(0, "end", "", 3, outcome=bad)]

    def test_spans(self):
        self.assertEqual(list(spans(self.points)),
                         [("ahead of 1 write /a", "ahead of 2 unlink /b", AS_UNDISTURBED),
                          ("in the middle of 2 unlink /b", "in the middle of 2 unlink /b", "odd; late"),
                          ("ahead of the end", "ahead of the end", "bad; late")])

    def test_counts(self):
        self.assertEqual(counts(self.points),
                         [(AS_UNDISTURBED, 2, 0), ("bad", 1, 0), ("late", 1, 1), ("odd", 0, 1)])

    def test_table(self):
        text = table({SCENARIO: self.points}, 4)
        self.assertIn("must never be: 1.\n", text)
        self.assertIn("| points in all | 3 | 1 |\n", text)
        self.assertEqual(documented(text), {SCENARIO.title: {AS_UNDISTURBED, "bad", "late", "odd"}})

    def test_picture(self):
        self.assertEqual(list(bars(self.points, "late")), [(2, 2)])
        text = picture({SCENARIO: self.points})
        self.assertEqual(text.count(GOOD), 1)
        self.assertEqual(text.count(OTHER), 2)
        self.assertEqual(text.count(BAD), 1)

    def test_check(self):
        with tempfile.TemporaryDirectory() as folder:
            document = Path(folder) / "points.md"
            document.write_text(table({SCENARIO: self.points[:2]}, 4))
            with contextlib.redirect_stdout(io.StringIO()) as said:
                self.assertEqual(check_against(document, {SCENARIO: self.points[:2]}), 0)
                self.assertEqual(check_against(document, {SCENARIO: self.points}), 1)
            self.assertIn("does not have: bad", said.getvalue())


unittest.main()
