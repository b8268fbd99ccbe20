"""Compiles mutants of one file of the library and runs its tests on each; see script/mutate."""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import subprocess
import sys
import tempfile
import time

TOKEN = re.compile(
    r"""(?P<skipped> //[^\n]* | /\*.*?\*/ | ^[ \t]*\#(?:\\\n|[^\n])* | R"(?P<raw>[^(\s]*)\(.*?\)(?P=raw)"
                   | "(?:\\.|[^"\\\n])*" | '(?:\\.|[^'\\\n])+' )
      | (?P<number> \.?\d(?:'?[\w.]|(?<=[eEpP])[+-])* )
      | (?P<word> [A-Za-z_]\w* )
      | (?P<operator> <<= | >>= | [<>=!+\-*/%&|^]= | \+\+ | -- | -> | && | \|\| | << | >> | :: | [<>+\-&|=!*/%^] )""",
    re.VERBOSE | re.MULTILINE | re.DOTALL)

# The formatter puts blanks around binary operators and around no angle bracket, sign, reference or dereference.
OPERATORS = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "+": "-", "-": "+", "+=": "-=", "-=": "+=",
    "&": "|", "|": "&", "&=": "|=", "|=": "&=", "&&": "||", "||": "&&", "<<": ">>", ">>": "<<",
}
WORDS = {
    "true": "false", "false": "true", "rne": "trunc", "trunc": "rne", "ceil": "floor", "floor": "ceil",
    "round": "floor", "nearbyint": "trunc", "rint": "trunc", "lround": "lrint", "lrint": "lround",
}
STANDARD_WORDS = {"min": "max", "max": "min"}
PACKED = [(re.compile(pattern), to) for pattern, to in [
    (r"_mm_min_(\w+)", r"_mm_max_\1"), (r"_mm_max_(\w+)", r"_mm_min_\1"),
    (r"_mm_add_(\w+)", r"_mm_sub_\1"), (r"_mm_sub_(\w+)", r"_mm_add_\1"),
    (r"_mm_adds_(\w+)", r"_mm_subs_\1"), (r"_mm_subs_(\w+)", r"_mm_adds_\1"),
    (r"_mm_(add|sub)s_ep[iu](\d+)", r"_mm_\1_epi\2"),
    (r"_mm_and_(\w+)", r"_mm_or_\1"), (r"_mm_or_(\w+)", r"_mm_and_\1"), (r"_mm_andnot_(\w+)", r"_mm_and_\1"),
    (r"_mm_cmpgt_(\w+)", r"_mm_cmplt_\1"), (r"_mm_cmplt_(\w+)", r"_mm_cmpgt_\1"),
    (r"_mm_cmp(g|l)t_(p\w|s\w)", r"_mm_cmp\1e_\2"), (r"_mm_cmp(g|l)e_(\w+)", r"_mm_cmp\1t_\2"),
    (r"_mm_cmpeq_(p\w)", r"_mm_cmpneq_\1"), (r"_mm_cmpneq_(p\w)", r"_mm_cmpeq_\1"),
    (r"_mm_cmpeq_(epi\d+)", r"_mm_cmpgt_\1"),
    (r"_mm_cvt(p|s)(s|d)_(\w+)", r"_mm_cvtt\1\2_\3"), (r"_mm_cvtt(p|s)(s|d)_(\w+)", r"_mm_cvt\1\2_\3"),
    (r"_mm_packs_(\w+)", r"_mm_packus_\1"), (r"_mm_packus_(\w+)", r"_mm_packs_\1"),
    (r"_mm_unpacklo_(\w+)", r"_mm_unpackhi_\1"), (r"_mm_unpackhi_(\w+)", r"_mm_unpacklo_\1"),
    (r"_mm_slli_(\w+)", r"_mm_srli_\1"), (r"_mm_srli_(\w+)", r"_mm_slli_\1"), (r"_mm_srai_(\w+)", r"_mm_srli_\1"),
    (r"_mm_mullo_(\w+)", r"_mm_mulhi_\1"), (r"_mm_mulhi_(\w+)", r"_mm_mullo_\1"),
    (r"_mm_cvtepu(8|16|32)_(\w+)", r"_mm_cvtepi\1_\2"), (r"_mm_cvtepi(8|16|32)_(epi\w+)", r"_mm_cvtepu\1_\2"),
]]


def changed_numbers(text):
    """The number one up and one down, a floating-point one in its last digit."""
    match = re.fullmatch(r"(0[xX][\da-fA-F']+|[\d']+)([uUlLzZ]*)", text)
    if match:
        digits = match[1].replace("'", "")
        value = int(digits, 16 if digits[:2] in ("0x", "0X") else 10)
        return [f"{v}{match[2]}" for v in (value + 1, value - 1) if v >= 0]
    match = re.fullmatch(r"(\d*)\.?(\d*)((?:[eE][+-]?\d+)?[fFlL]?)", text)
    if not match or not match[1] + match[2]:
        return []
    value, decimals = int(match[1] + match[2]), len(match[2]) or 1
    if not match[2]:
        value *= 10
    shown = [f"{v:0{decimals + 1}d}" for v in (value + 1, value - 1) if v >= 0]
    return [f"{v[:-decimals]}.{v[-decimals:]}{match[3]}" for v in shown]


class Mutant:
    def __init__(self, text, start, end, new):
        self.start, self.end, self.old, self.new = start, end, text[start:end], new
        self.line = text.count("\n", 0, start) + 1
        self.source_line = text[text.rfind("\n", 0, start) + 1:text.find("\n", start)].strip()

    def applied(self, text):
        return text[:self.start] + self.new + text[self.end:]


def static_assertions(text):
    """The ranges of assertions that the compiler checks."""
    for match in re.finditer(r"\bstatic_assert\s*\(", text):
        yield match.start(), text.find(";", match.end())


def mutants_of(text):
    found = []
    assertions = list(static_assertions(text))
    for token in TOKEN.finditer(text):
        start, end = token.span()
        if token["skipped"] or any(begin <= start < finish for begin, finish in assertions):
            continue
        word = token[0]
        if token["number"]:
            news = changed_numbers(word)
        elif token["operator"]:
            binary = text[start - 1].isspace() and text[end].isspace()
            news = [OPERATORS[word]] if binary and word in OPERATORS else []
        elif word.startswith("_mm_"):
            news = [match.expand(to) for pattern, to in PACKED if (match := pattern.fullmatch(word))]
        else:
            news = [WORDS[word]] if word in WORDS else []
            if word in STANDARD_WORDS and text[start - 5:start] == "std::":
                news = [STANDARD_WORDS[word]]
        found += [Mutant(text, start, end, new) for new in news]
    return found


def sampled(mutants, limit):
    """At most `limit` of them, chosen by what they change and not by where, so that other edits hardly matter."""
    seen, keyed = {}, []
    for mutant in mutants:
        key = f"{mutant.source_line}|{mutant.old}|{mutant.new}"
        seen[key] = seen.get(key, 0) + 1
        keyed.append((hashlib.sha256(f"{key}|{seen[key]}".encode()).hexdigest(), mutant))
    keyed.sort(key=lambda pair: pair[0])
    return sorted((mutant for _, mutant in keyed[:limit]), key=lambda mutant: mutant.start)


class Project:
    """The finished static build that mutants are linked into."""

    def __init__(self, root, program):
        self.root, self.build, self.program = root, root / "build/mutate", program
        subprocess.run(["cmake", "--preset", "mutate"], cwd=root, check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", "--preset", "mutate", "--target", "zeb", program], cwd=root, check=True,
                       stdout=sys.stderr)
        commands = subprocess.run(["ninja", "-C", str(self.build), "-t", "commands", program], check=True,
                                  capture_output=True, text=True).stdout.splitlines()
        self.link = [part for part in shlex.split(commands[-1]) if part not in (":", "&&")]
        entries = json.loads((self.build / "compile_commands.json").read_text())
        self.compile = {pathlib.Path(entry["file"]): shlex.split(entry["command"]) for entry in entries}

    def units_of(self, file):
        """The library's sources that `file` goes into, itself or those that include it."""
        if file in self.compile:
            return [file]
        deps = subprocess.run(["ninja", "-C", str(self.build), "-t", "deps"], check=True, capture_output=True,
                              text=True).stdout
        units = []
        for block in deps.split("\n\n"):
            paths = [(self.build / line.strip()).resolve() for line in block.splitlines()[1:]]
            if block.startswith("CMakeFiles/zeb.dir/") and file in paths:
                units += [path for path in paths if path in self.compile]
        return sorted(set(units))

    def compiled(self, unit, file, place):
        """The object of `unit` with `place / file` in the stead of `file`; None if it does not compile."""
        here = place / file.relative_to(self.root)
        source = here if unit == file else unit
        target = place / f"{unit.name}.o"
        command = list(self.compile[unit])
        command[command.index("-o") + 1] = str(target)
        command[command.index("-c") + 1] = str(source)
        # Intermediate steps in single precision are the same at each level of optimisation.
        command[1:1] = [f"-I{place}", f"-iquote{file.parent}"]
        command += ["-O1", "-w"]
        done = subprocess.run(command, cwd=self.build, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return target if done.returncode == 0 else None

    def linked(self, objects, place):
        """The test program with `objects` ahead of the library, whose own then stay out."""
        command = list(self.link)
        output = command.index("-o") + 1
        command[output] = str(place / self.program)
        command[output + 1:output + 1] = [str(o) for o in objects]
        subprocess.run(command, cwd=self.build, check=True, stdout=subprocess.DEVNULL)
        return place / self.program


class Runner:
    def __init__(self, directory, test_filter):
        self.directory, self.steps = directory, [test_filter]
        self.cpu_seconds, self.wall_seconds = 600, 3600

    def _run(self, program, arguments):
        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (self.cpu_seconds, self.cpu_seconds + 1))
            resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        return subprocess.run([str(program), "--gtest_brief=1", *arguments], cwd=self.directory, preexec_fn=limit,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              timeout=self.wall_seconds).returncode

    def learn(self, program):
        """Runs the unchanged program, sets the limits of time, and puts the quick tests in front."""
        report = self.directory / "tests.json"
        report.unlink(missing_ok=True)
        begun, used = time.monotonic(), resource.getrusage(resource.RUSAGE_CHILDREN)
        if self._run(program, [f"--gtest_filter={self.steps[0]}", f"--gtest_output=json:{report}"]) != 0:
            sys.exit("mutate: the tests fail without any change")
        now = resource.getrusage(resource.RUSAGE_CHILDREN)
        cpu = now.ru_utime + now.ru_stime - used.ru_utime - used.ru_stime
        self.cpu_seconds = int(4 * cpu) + 4
        self.wall_seconds = 60 + 30 * (time.monotonic() - begun)
        times = [(float(test["time"].rstrip("s")), f"{test['classname']}.{test['name']}")
                 for suite in json.loads(report.read_text())["testsuites"] for test in suite["testsuite"]
                 if test.get("result") == "COMPLETED"]
        if not times:
            sys.exit("mutate: no test runs with this filter")
        times.sort()
        quick, spent, total = 0, 0.0, sum(t for t, _ in times)
        while quick < len(times) and (spent := spent + times[quick][0]) <= 0.25 * total:
            quick += 1
        names = [name for _, name in times]
        self.steps = [":".join(part) for part in (names[:quick], names[quick:]) if part]
        return len(times), cpu

    def verdict(self, program):
        for step in self.steps:
            try:
                if self._run(program, ["--gtest_fail_fast", f"--gtest_filter={step}"]) != 0:
                    return "killed"
            except subprocess.TimeoutExpired:
                return "killed"
        return "survived"


def main():
    parser = argparse.ArgumentParser(prog="script/mutate")
    parser.add_argument("file")
    parser.add_argument("--test", metavar="TEST_PROGRAM", help="test_FAMILY unless given")
    parser.add_argument("--filter", metavar="GTEST_FILTER", default="*")
    parser.add_argument("--limit", type=int, metavar="N", help="at most so many mutants")
    parser.add_argument("--jobs", type=int, choices=(1, 2), default=2)
    parser.add_argument("--root", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--from", dest="here", type=pathlib.Path, help=argparse.SUPPRESS)
    options = parser.parse_args()

    os.nice(10)
    root = options.root.resolve()
    file = (options.here / options.file).resolve()
    if not file.is_file():
        file = (root / options.file).resolve()
    if not file.is_file() or root not in file.parents:
        sys.exit(f"mutate: {options.file} is no file of this project")
    family = file.relative_to(root).parts[0]
    project = Project(root, options.test or f"test_{'frame' if family == 'siblings' else family}")
    units = project.units_of(file)
    if not units:
        sys.exit(f"mutate: {options.file} goes into no source of the library")

    text = file.read_text()
    everything = mutants_of(text)
    mutants = sampled(everything, options.limit) if options.limit else everything

    with tempfile.TemporaryDirectory(dir=project.build, prefix="mutants-") as directory:
        directory = pathlib.Path(directory)
        runner = Runner(directory, options.filter)

        def build(name, changed):
            place = directory / name
            here = place / file.relative_to(root)
            here.parent.mkdir(parents=True)
            here.write_text(changed)
            objects = []
            for unit in units:
                objects.append(project.compiled(unit, file, place))
                if objects[-1] is None:
                    return place, None
            return place, objects

        place, unchanged = build("unchanged", text)
        if unchanged is None:
            sys.exit(f"mutate: {options.file} does not compile by itself")
        if len(units) > 1 or units[0] != file:
            # A header that is found beside its source would stay as it is.
            _, broken = build("broken", "#error\n")
            if broken is not None:
                sys.exit(f"mutate: {options.file} is not included by its path from the root")
        count, cpu = runner.learn(project.linked(unchanged, place))
        print(f"{file.relative_to(root)}: {len(mutants)} of {len(everything)} mutants, {count} tests of "
              f"{project.program}, {cpu:.1f} s", flush=True)
        original = [o.read_bytes() for o in unchanged]

        def judged(item):
            number, mutant = item
            place, objects = build(str(number), mutant.applied(text))
            try:
                if objects is None:
                    return "uncompiled"
                if [o.read_bytes() for o in objects] == original:
                    return "same"
                return runner.verdict(project.linked(objects, place))
            finally:
                shutil.rmtree(place)

        totals = dict.fromkeys(("killed", "survived", "same", "uncompiled"), 0)
        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
            for mutant, verdict in zip(mutants, pool.map(judged, enumerate(mutants))):
                totals[verdict] += 1
                if verdict == "survived":
                    print(f"  survived {file.relative_to(root)}:{mutant.line}: {mutant.old} -> {mutant.new}   in: "
                          f"{mutant.source_line}", flush=True)
    counted = totals["killed"] + totals["survived"]
    print(f"{file.relative_to(root)}: {totals['killed']} of {counted} killed, {totals['survived']} survived; "
          f"{totals['same']} are the same machine code, {totals['uncompiled']} do not compile")


main()
