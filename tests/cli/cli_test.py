#!/usr/bin/env python3
"""Runs the host program as a user does, and looks at what it prints, where, and how it ends."""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import warnings
import zipfile

TARNIS = sys.argv.pop(1) if len(sys.argv) > 2 else "tarnis"
SAMPLES = sys.argv.pop(1) if len(sys.argv) > 1 else "samples"
LETTER = os.path.join(SAMPLES, "letter.docx")
PDF = os.path.join(SAMPLES, "columns.pdf")


def tarnis(*arguments, **options):
    return subprocess.run([TARNIS, *arguments], capture_output=True, timeout=120, check=False,
                          **options)


class HostProgram(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def file(self, name, content):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def expected(self, name):
        with open(os.path.join(SAMPLES, name + ".txt"), "rb") as file:
            return file.read()

    def test_prints_the_text_and_nothing_else(self):
        run = tarnis("text", LETTER)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertEqual(run.stdout, self.expected("letter.docx"))

    def test_shows_the_librarys_own_lines_on_standard_error_when_verbose(self):
        run = tarnis("text", "--verbose", LETTER)
        self.assertEqual(run.stdout, self.expected("letter.docx"))
        self.assertEqual(run.stderr.splitlines(),
                         [b"SessionImplementation()...", b"SessionImplementation()...OK"])

    def test_reads_a_file_on_standard_input(self):
        with open(LETTER, "rb") as file:
            run = tarnis("text", "-", stdin=file)
        self.assertEqual(run.stdout, self.expected("letter.docx"))

    def test_reads_a_pipe_on_standard_input(self):
        with open(LETTER, "rb") as file:
            run = tarnis("text", "-", input=file.read())
        self.assertEqual(run.stdout, self.expected("letter.docx"))

    def test_reads_a_named_pipe(self):
        path = os.path.join(self.folder, "pipe")
        os.mkfifo(path)
        with subprocess.Popen([TARNIS, "text", path], stdout=subprocess.PIPE) as program:
            with open(path, "wb") as pipe:
                pipe.write(b"through a pipe\n")
            self.assertEqual(program.communicate(timeout=60)[0], b"through a pipe\n")

    def test_filters_to_a_temporary_file_and_prints_its_name(self):
        run = tarnis("filter", LETTER)
        self.assertEqual(run.returncode, 0, run.stderr)
        path = run.stdout.decode().rstrip("\n")
        self.addCleanup(os.remove, path)
        self.assertEqual(os.stat(path).st_mode & 0o077, 0)
        with open(path, "rb") as file:
            self.assertEqual(file.read(), self.expected("letter.docx"))

    def test_filters_to_the_directory_named_and_makes_it(self):
        place = os.path.join(self.folder, "new", "place")
        run = tarnis("filter", "--output", place, LETTER)
        path = os.path.join(place, "letter.docx.txt")
        self.assertEqual(run.stdout.decode(), path + "\n")
        with open(path, "rb") as file:
            self.assertEqual(file.read(), self.expected("letter.docx"))
        self.assertEqual(os.listdir(place), ["letter.docx.txt"])
        self.assertEqual(tarnis("filter", "--output", place, LETTER).returncode, 0, "replaces it")

    def test_leaves_no_result_behind_when_filtering_fails(self):
        path = self.file("empty", b"")
        run = tarnis("filter", "--output", os.path.join(self.folder, "place"), path)
        self.assertNotEqual(run.returncode, 0)
        self.assertEqual(os.listdir(self.folder), ["empty"])

    def test_leaves_nothing_in_the_temporary_place_when_a_job_fails(self):
        protected = os.path.join(SAMPLES, "locked.pdf")
        for job in ("filter", "container"):
            run = tarnis(job, "--verbose", protected)
            self.assertEqual(run.returncode, 4, job)
            path = re.search(r"Output file is '(.*)'", run.stderr.decode()).group(1)
            self.assertFalse(os.path.exists(path), job)
        run = tarnis("extract", protected, env=dict(os.environ, TMPDIR=self.folder))
        self.assertEqual((run.returncode, os.listdir(self.folder)), (4, []))

    def test_gives_what_could_be_read_of_a_damaged_document(self):
        path = self.file("cut.rtf", b"{\\rtf1\\ansi The beginning {\\b and")
        text = tarnis("text", path)
        self.assertEqual(text.returncode, 5)
        self.assertNotEqual(text.stdout, b"")
        filtered = tarnis("filter", "--output", self.folder, path)
        self.assertEqual(filtered.returncode, 5)
        with open(filtered.stdout.decode().rstrip("\n"), "rb") as file:
            self.assertEqual(file.read(), text.stdout)

    def test_names_the_file_of_a_damaged_container_in_json(self):
        path = self.file("cut.zip", b"PK\3\4 and nothing else")
        run = tarnis("container", "--json", "--output", self.folder, path)
        self.assertEqual(run.returncode, 5, run.stderr)
        with open(json.loads(run.stdout)["file"], "rb") as file:
            self.assertTrue(file.read().startswith(b"=== Root ==="))

    def test_leaves_no_half_written_result_when_interrupted(self):
        pipe = os.path.join(self.folder, "pipe")
        os.mkfifo(pipe)
        out = os.path.join(self.folder, "out")
        program = subprocess.Popen([TARNIS, "filter", "--output", out, pipe])
        with open(pipe, "wb") as writer:
            writer.write(b"half of it")
            writer.flush()
            time.sleep(0.2)
            program.send_signal(signal.SIGINT)
            program.wait(timeout=60)
        self.assertFalse(os.path.exists(out))

    def test_does_several_documents_in_their_order(self):
        pdf = os.path.join(SAMPLES, "two-columns.pdf")
        run = tarnis("text", LETTER, PDF, LETTER)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertEqual(run.stdout, self.expected("letter.docx") + self.expected(os.path.basename(PDF)) +
                         self.expected("letter.docx"))

    def test_heads_the_lines_about_each_of_several_documents(self):
        run = tarnis("detect", LETTER, PDF)
        headings = [line for line in run.stdout.decode().splitlines() if line.startswith("Document: ")]
        self.assertEqual(headings, ["Document: " + LETTER, "Document: " + PDF])

    def test_prints_one_json_object_for_each_of_several_documents(self):
        run = tarnis("detect", "--json", LETTER, PDF)
        objects = run.stdout.decode().replace("}\n{", "}\0{").split("\0")
        self.assertEqual([json.loads(text)["document"] for text in objects], [LETTER, PDF])

    def test_goes_on_behind_a_document_that_fails_and_ends_with_its_status(self):
        missing = os.path.join(self.folder, "missing.docx")
        unknown = self.file("unknown.bin", bytes(range(256)) * 8)
        run = tarnis("text", missing, unknown, LETTER)
        self.assertEqual(run.returncode, 6)
        self.assertEqual(run.stdout, self.expected("letter.docx"))
        self.assertEqual([line.split(": ")[1] for line in run.stderr.decode().splitlines()],
                         [missing, unknown])

    def test_keeps_the_results_of_documents_of_one_name_apart(self):
        place = os.path.join(self.folder, "place")
        os.mkdir(os.path.join(self.folder, "other"))
        first = self.file("note.txt", b"the first\n")
        second = self.file("other/note.txt", b"the second\n")
        run = tarnis("filter", "--output", place, first, second)
        self.assertEqual(run.returncode, 0, run.stderr)
        texts = []
        for name in ("note.txt.txt", "note.txt-2.txt"):
            with open(os.path.join(place, name), "rb") as file:
                texts.append(file.read())
        self.assertEqual(texts, [b"the first\n", b"the second\n"])

    def test_stops_when_nothing_more_can_be_written(self):
        with open("/dev/full", "wb") as full:
            run = subprocess.run([TARNIS, "text", LETTER, LETTER, LETTER], stdout=full,
                                 stderr=subprocess.PIPE, timeout=120, check=False)
        self.assertEqual(run.returncode, 1)
        self.assertEqual(len(run.stderr.splitlines()), 1)

    def test_reads_standard_input_once(self):
        self.assertEqual(tarnis("text", "-", "-", input=b"").returncode, 2)

    def test_buffers(self):
        run = tarnis("buffer", LETTER)
        self.assertEqual((run.returncode, run.stdout), (0, self.expected("letter.docx")))

    def test_buffers_a_text_that_is_larger_than_the_buffers_memory(self):
        text = b"0123456789abcdef\n" * (1 << 19)
        run = tarnis("buffer", self.file("large.txt", text))
        self.assertEqual(run.stdout, text)

    def test_prints_properties(self):
        lines = tarnis("metadata", LETTER).stdout.decode().splitlines()
        self.assertIn("Title: ", [line[:7] for line in lines])
        self.assertEqual(lines, sorted(lines))

    def test_prints_properties_as_json_with_their_types(self):
        result = self.json("metadata", LETTER)
        types = {item["name"]: item["type"] for item in result["properties"]}
        self.assertEqual(types["Title"], "text")
        created = [item["value"] for item in result["properties"] if item["name"] == "Created"]
        self.assertRegex(created[0], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")

    def json(self, *arguments):
        run = tarnis(arguments[0], "--json", *arguments[1:])
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        result = json.loads(run.stdout)
        self.assertEqual(result["job"], arguments[0])
        self.assertEqual(result["document"], arguments[-1])
        return result

    def test_detects_as_json(self):
        result = self.json("detect", LETTER)
        self.assertEqual(result["format"], {"number": 360, "description": "Microsoft Word 2007 XML",
                                            "extension": "DOCX"})
        self.assertEqual(result["category"], {"number": 1, "name": "Word Processor"})
        self.assertEqual(result["attributes"], [])

    def test_escapes_names_that_are_not_utf8_without_loss_in_json(self):
        path = os.path.join(os.fsencode(self.folder), b"caf\xe9 \"1\".txt")
        with open(path, "wb") as file:
            file.write(b"text\n")
        run = subprocess.run([os.fsencode(TARNIS), b"detect", b"--json", path],
                             capture_output=True, timeout=60, check=True)
        name = json.loads(run.stdout)["document"]
        self.assertEqual(name.encode("utf-8", "surrogateescape"), path)

    def test_lists_and_extracts_nothing_of_a_document_that_is_no_container(self):
        path = self.file("plain.txt", b"text\n")
        self.assertEqual(tarnis("list", path).stdout, b"")
        self.assertEqual(self.json("list", path)["members"], [])
        self.assertEqual(self.json("mail", path)["messages"], [])
        run = tarnis("extract", "--output", self.folder, path)
        place = os.path.join(self.folder, "plain.txt.members")
        self.assertEqual((run.returncode, run.stdout.decode()), (0, place + "\n"))
        self.assertEqual(os.listdir(place), [])
        self.assertEqual(tarnis("extract", "--output", self.folder, path).returncode, 1,
                         "nothing is mixed into what is there already")

    def extract(self, *members):
        """Extracts a zip archive of (name, content). Returns the run, and what was written."""
        path = os.path.join(self.folder, "archive.zip")
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")  # two members of one name
            with zipfile.ZipFile(path, "w") as archive:
                for name, content in members:
                    archive.writestr(name, content)
        place = os.path.join(self.folder, "archive.zip.members")
        shutil.rmtree(place, ignore_errors=True)
        run = tarnis("extract", "--output", self.folder, path)
        written = {}
        for folder, _, names in os.walk(place):
            for name in names:
                with open(os.path.join(folder, name), "rb") as file:
                    written[os.path.relpath(os.path.join(folder, name), place)] = file.read()
        return run, written

    def test_extracts_members_of_any_name_below_the_directory_and_all_of_them(self):
        long_name = "x" * 300 + ".txt"
        run, written = self.extract(
            ("../../up.txt", b"1"), ("/etc/absolute.txt", b"2"), ("a/../b/./c.txt", b"3"),
            ("..", b"4"), ("line\nbreak\x1b.txt", b"5"), (long_name, b"6"), ("last.txt", b"7"))
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertEqual(written, {
            "up.txt": b"1", "etc/absolute.txt": b"2", "a/b/c.txt": b"3", "member-3": b"4",
            "line_break_.txt": b"5", "x" * 196 + ".txt": b"6", "last.txt": b"7"})

    def test_extracts_members_of_one_name_beside_each_other(self):
        run, written = self.extract(
            ("note.txt", b"1"), ("note.txt", b"2"), ("../note.txt", b"3"), ("note-2.txt", b"4"),
            ("dir", b"5"), ("dir/inside.txt", b"6"), ("other/inside.txt", b"7"), ("other", b"8"))
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertEqual(written, {
            "note.txt": b"1", "note-2.txt": b"2", "note-3.txt": b"3", "note-2-2.txt": b"4",
            "dir": b"5", "inside.txt": b"6", "other/inside.txt": b"7", "other-2": b"8"})

    def test_status_8_when_single_members_fail_and_the_others_are_extracted(self):
        path = os.path.join(self.folder, "damaged.zip")
        with zipfile.ZipFile(path, "w") as archive:
            archive.writestr("bad.txt", b"what the checksum is of")
            archive.writestr("good.txt", b"good")
        with open(path, "rb+") as file:
            content = file.read().replace(b"what the checksum", b"what the cheCKSUM")
            file.seek(0)
            file.write(content)
        run = tarnis("extract", "--output", self.folder, path)
        self.assertEqual(run.returncode, 8)
        self.assertIn(b"member 0 (bad.txt): ", run.stderr)
        self.assertIn(b"error 4", run.stderr)
        with open(os.path.join(self.folder, "damaged.zip.members", "good.txt"), "rb") as file:
            self.assertEqual(file.read(), b"good")

    def test_filters_a_document_that_is_no_container_as_one(self):
        path = self.file("plain.txt", b"text\n")
        framed = b"=== Root ===\nTop Level File\n--- Text ---\ntext\n\n"
        self.assertEqual(tarnis("container", path).stdout, framed)
        result = self.json("container", "--output", self.folder, path)
        self.assertEqual(result["problems"], [])
        with open(result["file"], "rb") as file:
            self.assertEqual(file.read(), framed)
        self.assertEqual(result["size"], len(framed))

    def test_detects(self):
        run = tarnis("detect", LETTER)
        self.assertEqual(run.returncode, 0)
        self.assertEqual(run.stdout.decode().splitlines()[:3],
                         ["Format: 360 (Microsoft Word 2007 XML)", "Category: 1 (Word Processor)",
                          "Extension: DOCX"])

    def test_names_document_job_and_code_when_it_fails(self):
        path = self.file("empty", b"")
        run = tarnis("text", path)
        self.assertEqual(run.stdout, b"")
        self.assertEqual(run.stderr.decode(),
                         f"tarnis: {path}: text: Tarnis error 42: ZeroFile\n")

    def test_status_0_for_help_and_version(self):
        for option in ("--help", "--man", "--version"):
            run = tarnis(option)
            self.assertEqual((run.returncode, run.stderr), (0, b""))
            self.assertTrue(run.stdout)

    def test_status_2_for_a_command_line_it_does_not_understand(self):
        for arguments in ((), ("text",), ("dance", LETTER),
                          ("text", "--unknown", LETTER), ("text", LETTER, "--timeout"),
                          ("text", LETTER, "--timeout", "soon"),
                          ("text", LETTER, "--output", "x"), ("text", LETTER, "--json")):
            run = tarnis(*arguments)
            self.assertEqual((run.returncode, run.stdout), (2, b""), arguments)
            self.assertIn(b"tarnis --help", run.stderr)

    def test_status_3_for_an_unknown_format_and_for_one_without_a_reader(self):
        junk = self.file("junk", b"\x01\x02\x03\x00\x91\x02\x00\xff\xfe\x00\x07\x80")
        midi = self.file("midi", b"MThd\x00\x00\x00\x06\x00\x01")
        self.assertEqual(tarnis("text", junk).returncode, 3)
        self.assertEqual(tarnis("detect", junk).returncode, 3)
        self.assertEqual(tarnis("text", midi).returncode, 3)

    def test_status_4_for_a_protected_document(self):
        path = os.path.join(SAMPLES, "locked.pdf")
        self.assertEqual(tarnis("text", path).returncode, 4)
        self.assertEqual(tarnis("text", "--password", "wrong", path).returncode, 4)
        run = tarnis("text", "--password", "sésame", path)
        self.assertEqual(run.returncode, 0)
        self.assertTrue(run.stdout.strip())
        reader, writer = os.pipe()
        os.write(writer, "sésame\n".encode())
        os.close(writer)
        again = tarnis("text", "--password_fd", str(reader), path, pass_fds=(reader,))
        os.close(reader)
        self.assertEqual((again.returncode, again.stdout), (0, run.stdout))

    def test_status_5_for_a_damaged_document_after_its_readable_text(self):
        path = self.file("cut.rtf", b"{\\rtf1\\ansi The beginning {\\b and")
        run = tarnis("text", path)
        self.assertEqual(run.returncode, 5)
        self.assertIn(b"The beginning and", run.stdout)

    def test_status_6_for_a_document_that_is_not_there(self):
        self.assertEqual(tarnis("text", os.path.join(self.folder, "nowhere")).returncode, 6)
        self.assertEqual(tarnis("text", self.folder).returncode, 6)

    def test_status_1_when_the_engine_is_not_there(self):
        run = tarnis("text", "--bin_path", self.folder, LETTER)
        self.assertEqual(run.returncode, 1)
        self.assertIn(b"Could not load trfilter library from path: ", run.stderr)

    def test_status_1_when_the_text_cannot_be_written(self):
        with open("/dev/full", "wb") as full:
            run = subprocess.run([TARNIS, "text", LETTER], stdout=full, stderr=subprocess.PIPE,
                                 timeout=60, check=False)
        self.assertEqual(run.returncode, 1)
        self.assertIn(b"No space left on device", run.stderr)

    def test_manual_page_names_every_job_and_option_of_the_help(self):
        names = re.findall(r"^  (\S+)", tarnis("--help").stdout.decode(), re.MULTILINE)
        page = tarnis("--man").stdout.decode().replace("\\-", "-")
        self.assertGreater(len(names), 40)
        for name in names:
            self.assertRegex(page, rf"(?m)^\.B {re.escape(name)}( |$)")

    def test_every_job_of_the_help_is_done(self):
        jobs = tarnis("--help").stdout.decode().split("jobs:\n")[1].split("\n\n")[0]
        for job in re.findall(r"^  (\S+)", jobs, re.MULTILINE):
            if job == "sandbox-test":
                continue  # has a test of its own
            run = tarnis(job, "--output", self.folder, LETTER) if job in ("extract", "filter") \
                else tarnis(job, LETTER)
            self.assertIn(run.returncode, (0,), (job, run.stderr))

    def test_proves_what_a_reader_cannot_do(self):
        run = tarnis("sandbox-test")
        lines = run.stdout.decode().splitlines()
        self.assertGreater(len(lines), 20)
        for line in lines:
            self.assertRegex(line, r"^(denied|works|lacking) ")
        self.assertEqual((run.returncode, run.stderr), (0, b""))

    def test_reads_out_of_process_unless_told_otherwise(self):
        logs = [("--oop_log", "--tmp_dir", self.folder), ("--ip", "--oop_log", "--tmp_dir", self.folder)]
        for arguments, files in zip(logs, (1, 1)):
            run = tarnis("text", *arguments, LETTER)
            self.assertEqual(run.stdout, self.expected("letter.docx"))
            self.assertEqual(len(os.listdir(self.folder)), files)

    def test_option_shows_headers_and_footers(self):
        plain = tarnis("text", LETTER).stdout
        shown = tarnis("text", "--header", LETTER).stdout
        self.assertGreater(len(shown), len(plain))


if __name__ == "__main__":
    unittest.main()
