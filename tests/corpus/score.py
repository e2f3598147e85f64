#!/usr/bin/env python3
"""Reads a corpus of documents with `tarnis` and scores the results against what is known of them.

The corpus is a folder with files/ and facts.json, a map from a file's name to its facts; `contains`
lists strings that the text must hold, `embedded` says what members there are and what text lies in them. Of
containers the text is that of all members. One table shows, for each family of formats, how many strings are
found; another, how much of what is known of members is. With --metadata it
shows the same for `metadata`, what `tarnis metadata` must print: metadata_keys.tsv tells by which names.
Any document that ends the program by a signal, a sanitizer or the clock fails the run, and so does a
family below its floor. Without the folder there is nothing to measure, and the run passes.
"""

import argparse
import concurrent.futures
import datetime
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import typing
import unicodedata

class Family(typing.NamedTuple):
    extensions: tuple
    floor: float = 0.90  # the share of known strings and members that must be found
    container: bool = False  # the text is that of the members


FAMILIES = {
    "pdf": Family(("pdf",)),
    "docx": Family(("docx", "docm", "dotx", "dotm")),
    "xlsx": Family(("xlsx", "xlsm", "xltx", "xltm")),
    "pptx": Family(("pptx", "pptm", "ppsx", "potx")),
    "odf": Family(("odt", "ods", "odp", "odg", "fodt", "fods", "sxw", "sxc", "sxi", "ott")),
    "html": Family(("html", "htm", "xhtml")),
    "txt": Family(("txt", "md", "csv", "tsv", "vtt", "srt", "asciidoc", "rst", "org", "json")),
    "xml-like": Family(("xml", "nxml", "rss", "atom", "xlf", "ttml", "dita", "svg")),
    "rtf": Family(("rtf",)),
    "ebook": Family(("epub", "fb2")),
    "xps": Family(("xps", "oxps"), 0.85),
    "doc": Family(("doc", "dot"), 0.92),
    "xls": Family(("xls", "xlt"), 0.92),
    "ppt": Family(("ppt", "pps", "pot"), 0.92),
    "wordperfect": Family(("wp", "wpd")),
    "works": Family(("wps", "wks", "wdb", "wk1", "wq1", "wb2", "wb3", "qpw", "123", "wri", "xlr")),
    "visio": Family(("vsd", "vst", "vss", "vsdx", "vsdm", "vssx", "vssm", "vstx", "vstm")),
    "iwork": Family(("pages", "numbers", "key")),
    "staroffice": Family(("sdw", "sdc", "sdd", "sda", "vor")),
    "mail": Family(("eml", "mbox", "mht", "mhtml"), container=True),
    "outlook": Family(("msg", "pst", "ost", "dat"), container=True),
    "archives": Family(("zip", "kmz", "jar", "7z", "rar", "tar", "tgz", "gz", "bz2", "xz", "lz4", "zst", "z",
                        "ar", "cpio", "iso", "lha", "lzh", "warc", "cab", "chm"), container=True),
}

# The share of what is known of the members of all families together.
MEMBERS_FLOOR = 0.90

SECONDS_A_DOCUMENT = 60
# Address space in bytes; a sanitized program reserves far more than it uses.
MEMORY_A_DOCUMENT = 4 << 30

EXIT_STATUS = {0: "text", 1: "other", 3: "unsupported", 4: "protected", 5: "damaged", 7: "time-out",
               8: "some members failed"}
# How the text of a container frames each member, and names it.
MEMBER_FRAME = re.compile(r"^--- Subfile \d+ of ", re.MULTILINE)
MEMBER_NAME = re.compile(r"^=== (.*) ===$", re.MULTILINE)


def folded(text):
    """Text as facts compare it: composed, without soft hyphens, white space runs as one blank."""
    text = unicodedata.normalize("NFC", text).replace("\u00ad", "")
    return re.sub(r"\s+", " ", text)


def family_of(name):
    if name.lower().startswith("testrfc822"):
        return "mail"
    extension = name.rsplit(".", 1)[-1].lower()
    for name, family in FAMILIES.items():
        if extension in family.extensions:
            return name
    return "others"


def environment_for(sanitized):
    environment = dict(os.environ)
    if sanitized:
        # The readers' modules share the engine's core, so one global may come twice. The leak checker
        # dies on the thread-local data of libraries that were loaded at run time.
        environment["ASAN_OPTIONS"] = "detect_odr_violation=0:" + environment.get("ASAN_OPTIONS", "")
        suppressions = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "leaks.supp")
        environment["LSAN_OPTIONS"] = f"use_tls=0:print_suppressions=0:suppressions={suppressions}"
    return environment


def read(tarnis, job, path, password, sanitized):
    """One document. Returns what the job prints, the exit status, and why the run fails because of it or
    None."""
    command = [tarnis, job, "--ip", "--timeout", str(SECONDS_A_DOCUMENT)]
    if job in ("text", "container"):
        command.append("--header")
    if job == "list":
        command.append("--json")
    if password:
        command += ["--password", password]
    limit = [] if sanitized else ["prlimit", f"--as={MEMORY_A_DOCUMENT}"]
    with tempfile.TemporaryFile() as errors:
        try:
            run = subprocess.run(limit + command + [path], stdout=subprocess.PIPE, stderr=errors,
                                 timeout=SECONDS_A_DOCUMENT * 2, env=environment_for(sanitized), check=False)
        except subprocess.TimeoutExpired:
            return "", -1, "hangs"
        errors.seek(0)
        message = errors.read().decode("utf-8", "replace")
    if run.returncode < 0:
        return "", run.returncode, "dies of " + signal.Signals(-run.returncode).name
    for word in ("AddressSanitizer", "LeakSanitizer", "runtime error:"):
        if word in message:
            return "", run.returncode, message.strip().splitlines()[0]
    try:
        text = run.stdout.decode("utf-8")
    except UnicodeDecodeError:
        return "", run.returncode, "gives text that is not UTF-8"
    return text, run.returncode, None


def known_members(embedded, text, listing):
    """What is known of a container's members. Yields each fact and whether it holds."""
    members = []
    if listing:
        members = [member for member in json.loads(listing).get("members", [])
                   if member.get("type") != "folder"]
    if embedded.get("count") is not None and embedded.get("count_verified"):
        recursive = embedded.get("count_kind") == "recursive"
        count = len(MEMBER_FRAME.findall(text)) if recursive else len(members)
        yield f"{embedded['count']} members", count == embedded["count"]
    # A member may lie deeper: in a message of a store, say.
    names = {folded(member["name"]) for member in members}
    names.update(folded(name) for name in MEMBER_NAME.findall(text))
    for name in embedded.get("names") or []:
        yield f"member {name}", folded(name) in names
    for known in embedded.get("contains") or []:
        yield known, folded(known).strip() in folded(text)


def metadata_keys():
    """The properties' names and the comparison for each key of the facts."""
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "metadata_keys.tsv")
    with open(path, encoding="utf-8") as file:
        rows = [line.rstrip("\n").split("\t") for line in file if not line.startswith("#")]
    return {key: (names.split(), comparison) for key, names, comparison in rows}


def minutes(text):
    """A duration by ISO 8601, or a number."""
    match = re.fullmatch(r"P(?:(\d+)D)?T?(?:(\d+)H)?(?:(\d+)M)?(?:([\d.]+)S)?", text)
    if not match:
        return int(float(text))
    days, hours, rest, seconds = (float(part or 0) for part in match.groups())
    return int(days * 1440 + hours * 60 + rest + seconds / 60)


def iso_time(text):
    """A time as C's asctime writes it or one with a zone, by ISO 8601 in UTC; empty for any other."""
    for form in ("%a %b %d %H:%M:%S %Y", "%Y-%m-%dT%H:%M:%S%z"):
        try:
            time = datetime.datetime.strptime(text, form)
        except ValueError:
            continue
        if time.tzinfo is not None:
            time = time.astimezone(datetime.timezone.utc)
        return time.strftime("%Y-%m-%dT%H:%M:%S")
    return ""


def is_stated(known, values, comparison):
    """Whether one of a property's values is what is known."""
    known = folded(str(known)).strip()
    for value in values:
        text = folded(str(value)).strip()
        if text.lower() == known.lower():
            return True
        if comparison == "part" and known.lower() in text.lower():
            return True
        if comparison == "count" and text.split("/")[0] == known:  # 3 of 12
            return True
        if comparison == "channels" and text == {"mono": "1", "stereo": "2"}.get(known.lower()):
            return True
        if comparison == "time" and text[:19] in (known[:19], iso_time(known)):
            return True
        if comparison in ("number", "minutes", "text"):
            try:
                convert = minutes if comparison == "minutes" else float
                if convert(text) == convert(known):
                    return True
            except ValueError:
                pass
        # Several keywords may be one text.
        if comparison == "text" and known in [part.strip() for part in re.split("[,;]", text)]:
            return True
    return False


def score_metadata(arguments, facts, names):
    """Prints how many of the known properties each family states."""
    keys = metadata_keys()
    table = {}
    for name in names:
        known = facts[name].get("metadata") or {}
        if not known:
            continue
        run = subprocess.run([arguments.tarnis, "metadata", "--ip", "--json", os.path.join(arguments.corpus, "files", name)],
                             stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=SECONDS_A_DOCUMENT * 2, check=False)
        stated = {}
        if run.returncode == 0:
            for item in json.loads(run.stdout)["properties"]:
                stated.setdefault(item["name"], []).append(item["value"])
        row = table.setdefault(family_of(name), [0, 0])
        for key, values in known.items():
            own = key.removeprefix("custom:")
            properties, comparison = keys.get(key, ([own], "time" if "Date" in own else "text"))
            there = [value for each in properties for value in stated.get(each, [])]
            for value in values if isinstance(values, list) else [values]:
                row[0] += 1
                if is_stated(value, there, comparison):
                    row[1] += 1
                elif arguments.misses:
                    print(f"miss: {name} [{EXIT_STATUS.get(run.returncode, run.returncode)}]: {key}: {value!r}, "
                          f"not {there}")
    print(f"{'family':10} {'known':>6} {'found':>6} {'share':>7}")
    for family, (known, found) in sorted(table.items()):
        print(f"{family:10} {known:6} {found:6} {found / known:7.1%}")


# Jobs that tell everything that the engine says of a document.
COMPARED_JOBS = (["text", "--header"], ["detect", "--json"], ["metadata"], ["list", "--json"],
                 ["mail", "--json"], ["container"])


def compare_isolation(tarnis, corpus, facts, names, sanitized):
    """Does each job on each document in process and out of process. Returns what differs."""
    def one(name):
        path = os.path.join(corpus, "files", name)
        differences = []
        for job in COMPARED_JOBS:
            command = [tarnis, *job, "--timeout", str(SECONDS_A_DOCUMENT), path]
            if facts[name].get("password"):
                command += ["--password", facts[name]["password"]]
            inside, outside = (subprocess.run(command + how, capture_output=True, check=False,
                                              env=environment_for(sanitized)) for how in (["--ip"], []))
            if (inside.returncode, inside.stdout) != (outside.returncode, outside.stdout):
                differences.append(f"{name}: {job[0]} is another out of process, status "
                                   f"{outside.returncode} for {inside.returncode}")
        return differences

    with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count()) as pool:
        found = [difference for differences in pool.map(one, names) for difference in differences]
    print(f"{len(names)} documents, {len(COMPARED_JOBS)} jobs each: {len(found)} differ")
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--tarnis", required=True, help="the program to run")
    parser.add_argument("--corpus", required=True, help="the folder with files/ and facts.json")
    parser.add_argument("--sanitized", action="store_true", help="the program has sanitizers")
    parser.add_argument("--misses", action="store_true", help="list each string that is not found")
    parser.add_argument("--empty", action="store_true", help="list successes without text")
    parser.add_argument("--family", help="only this family")
    parser.add_argument("--metadata", action="store_true", help="score the properties instead of the text")
    parser.add_argument("--compare-isolation", action="store_true",
                        help="see instead that all jobs give the same in and out of process")
    arguments = parser.parse_args()
    facts_path = os.path.join(arguments.corpus, "facts.json")
    if not os.path.exists(facts_path):
        print("no corpus here, nothing to measure")
        return 0
    with open(facts_path, encoding="utf-8") as file:
        facts = json.load(file)
    names = sorted(name for name in facts
                   if not arguments.family or family_of(name) == arguments.family)

    if arguments.metadata:
        score_metadata(arguments, facts, names)
        return 0
    if arguments.compare_isolation:
        differences = compare_isolation(arguments.tarnis, arguments.corpus, facts, names,
                                        arguments.sanitized)
        print("".join(line + "\n" for line in differences), end="", file=sys.stderr)
        return 1 if differences else 0

    def one(name):
        path = os.path.join(arguments.corpus, "files", name)
        how = (path, facts[name].get("password"), arguments.sanitized)
        family = FAMILIES.get(family_of(name))
        container = family is not None and family.container
        if not container:
            result = read(arguments.tarnis, "text", *how)
        checks = []
        if container or facts[name].get("embedded"):
            whole = read(arguments.tarnis, "container", *how)
            listing, _, listing_failure = read(arguments.tarnis, "list", *how)
            if container:
                result = whole
            result = (*result[:2], result[2] or whole[2] or listing_failure)
            checks = list(known_members(facts[name].get("embedded") or {}, whole[0], listing))
        return name, result, checks

    def check(row, name, word, checks):
        for known, found in checks:
            row["known"] += 1
            row["found"] += found
            if not found and arguments.misses:
                print(f"miss: {name} [{word}]: {known!r}")

    families = [*FAMILIES, "others"]
    table = {family: {"files": 0, "known": 0, "found": 0, "status": {}} for family in families}
    members = {family: {"files": 0, "known": 0, "found": 0} for family in families}
    failures = []
    with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count()) as pool:
        for name, (text, status, failure), known in pool.map(one, names):
            row = table[family_of(name)]
            row["files"] += 1
            word = EXIT_STATUS.get(status, str(status))
            row["status"][word] = row["status"].get(word, 0) + 1
            if failure:
                failures.append(f"{name}: {failure}")
            if arguments.empty and status == 0 and not text.strip():
                print(f"empty: {name}")
            if known:
                members[family_of(name)]["files"] += 1
                check(members[family_of(name)], name, word, known)
            text = folded(text)
            check(row, name, word, [(known, folded(known).strip() in text)
                                    for known in facts[name].get("contains") or []])

    def share(row):
        return f"{row['found'] / row['known']:7.1%}" if row["known"] else "      -"

    print(f"{'family':10} {'files':>5} {'known':>6} {'found':>6} {'share':>7}  outcomes")
    for family, row in table.items():
        if not row["files"]:
            continue
        outcomes = ", ".join(f"{count} {word}" for word, count in sorted(row["status"].items()))
        print(f"{family:10} {row['files']:5} {row['known']:6} {row['found']:6} {share(row)}  {outcomes}")
        floor = FAMILIES[family].floor if family in FAMILIES else 0
        if row["found"] < floor * row["known"]:
            failures.append(f"family {family} is below {floor:.0%}")

    print(f"\n{'members of':10} {'files':>5} {'known':>6} {'found':>6} {'share':>7}")
    total = {key: sum(row[key] for row in members.values()) for key in ("files", "known", "found")}
    for family, row in [*members.items(), ("all", total)]:
        if row["known"]:
            print(f"{family:10} {row['files']:5} {row['known']:6} {row['found']:6} {share(row)}")
    if total["found"] < MEMBERS_FLOOR * total["known"]:
        failures.append(f"of what is known of members less than {MEMBERS_FLOOR:.0%} is found")
    for failure in failures:
        print(failure, file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
