"""A copy of the tree with a build of its own, in which one fault at a time is planted and taken out again."""

import collections
import hashlib
import json
import os
import re
import shlex
import shutil
import subprocess

COMPILE_SECONDS = 300
LEFT_OUT = {"matrix"}  # labels of tests
Test = collections.namedtuple("Test", "name command folder environment program")


class Broken(Exception):
    """The fault makes a program that can't be built."""


class Scratch:
    def __init__(self, root, folder):
        self.root, self.tree, self.build = root, folder / "tree", folder / "build"
        self.temporary, self.home = folder / "tmp", folder / "home"
        self.environment = dict(os.environ, HOME=str(self.home), TMPDIR=str(self.temporary), CCACHE_DISABLE="1")
        for name in ("XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"):
            self.environment.pop(name, None)

    # --- The sound build -----------------------------------------------------------------------------------------

    def prepare(self):
        """Makes the sound build, or brings it up to date, and learns what it is made of."""
        for folder in (self.tree, self.build, self.home):
            folder.mkdir(parents=True, exist_ok=True)
        self.empty_temporary()
        self.copy_tree()
        if not (self.build / "build.ninja").exists():
            # Without debug information, in which a fault would show that is none.
            self.run(["cmake", "--preset", "linux", "-B", self.build, "-DGPUPROWLER_CCACHE=OFF",
                      "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -DNDEBUG"], self.tree)
        self.run(["ninja", "-j", "1", "tests/all"])
        self.read_commands()
        self.read_tests()
        self.read_contents()

    def copy_tree(self):
        """What differs only, so that no more is built again."""
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                                cwd=self.root, check=True, capture_output=True, text=True).stdout.split("\0")
        self.files = {name for name in listed if name and (self.root / name).is_file()}
        for path in [path for path in self.tree.rglob("*") if path.is_file()]:
            if str(path.relative_to(self.tree)) not in self.files:
                path.unlink()
        for name in self.files:
            source, copy = self.root / name, self.tree / name
            if not copy.exists() or copy.read_bytes() != source.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(source, copy)
                shutil.copymode(source, copy)

    def digest(self):
        """Of all that the build and the tests are made of."""
        whole = hashlib.sha256()
        for name in sorted(self.files):
            whole.update(name.encode() + (self.tree / name).read_bytes())
        return whole.hexdigest()

    def run(self, command, folder=None, seconds=None):
        """The standard output; what else was printed ends the tool with the error."""
        done = subprocess.run(command, cwd=folder or self.build, env=self.environment, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=seconds, shell=isinstance(command, str))
        if done.returncode != 0:
            raise Broken(f"failed: {command}\n{done.stdout[-4000:]}{done.stderr[-4000:]}")
        return done.stdout

    def read_commands(self):
        """How each object is compiled, how each library and program is linked, and what includes a source."""
        self.compiling, self.includers = {}, collections.defaultdict(set)
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            output = re.search(r" -o (\S+)", entry["command"])[1]
            self.compiling[output] = entry["command"] + " -w"
            self.includers[self.in_tree(entry["file"])].add(output)
        built = ""
        for line in self.run(["ninja", "-t", "deps"]).splitlines():
            if line.endswith("(VALID)"):
                built = line.split(":")[0]
            elif line.endswith((".h", ".cpp")) and built in self.compiling:
                self.includers[self.in_tree(line.strip())].add(built)
        rules = re.findall(r"^(.+): (CXX_\w+_LINKER)__", self.run(["ninja", "-t", "targets", "all"]), re.MULTILINE)
        self.linking, self.linked = {}, {}  # by library or program: its command, its own inputs
        for name, rule in rules:
            if (self.build / name).exists():
                self.linking[name] = self.run(["ninja", "-t", "commands", "-s", name])
        for name, command in self.linking.items():
            self.linked[name] = {word for word in shlex.split(command)
                                 if word != name and (word in self.compiling or word in self.linking)}

    def in_tree(self, name):
        path = os.path.realpath(self.build / name)
        return os.path.relpath(path, os.path.realpath(self.tree))

    def read_tests(self):
        """CTest's, without those left out, and the libraries and programs that each may load or start."""
        self.tests = []
        listed = json.loads(self.run(["ctest", "--show-only=json-v1"]))
        for entry in listed["tests"]:
            properties = {item["name"]: item["value"] for item in entry["properties"]}
            program = os.path.relpath(entry["command"][0], self.build)
            if program not in self.linking or LEFT_OUT & set(properties["LABELS"]):
                continue
            pairs = [pair.split("=", 1) for pair in properties.get("ENVIRONMENT", [])]
            name = entry["name"].split("  #")[0]  # without the parameter's value
            self.tests.append(Test(name, entry["command"], properties["WORKING_DIRECTORY"], dict(pairs), program))
        self.uses = {}
        for program in {test.program for test in self.tests}:
            inputs = set(self.run(["ninja", "-t", "inputs", program]).split("\n"))
            uses = [program] + sorted(name for name in inputs & self.linking.keys() if not name.endswith(".a"))
            self.uses.update((test.name, uses) for test in self.tests if test.program == program)

    def watch(self, test):
        """From now on it is seen what the test reads of that."""
        for name in self.uses[test.name]:
            os.utime(self.build / name, ns=(0, (self.build / name).stat().st_mtime_ns))

    def watched(self, test):
        """All of it where the system keeps no such times."""
        read = [name for name in self.uses[test.name] if (self.build / name).stat().st_atime > 0]
        return read or self.uses[test.name]

    def read_contents(self):
        """Of what the tests run, the objects that the linker has taken."""
        self.contents = {}
        for name in {name for used in self.uses.values() for name in used}:
            archives = {word for word in self.linked[name] if word.endswith(".a")}
            traced = self.run(self.linking[name].rstrip().removesuffix("&& :") + "-o /dev/null -Wl,-t,-t")
            taken = set(re.findall(r"^\((.+?)\)(.+)$|^(.+\.a)\((.+)\)$", traced, re.MULTILINE))
            members = {(first or third, second or fourth) for first, second, third, fourth in taken}
            self.contents[name] = self.linked[name] | {
                entry for archive in archives for entry in self.linked[archive]
                if (archive, os.path.basename(entry)) in members}

    def empty_temporary(self):
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir(parents=True)

    # --- One fault -----------------------------------------------------------------------------------------------

    def plant(self, fault):
        """Compiles what the fault is in. True if an object is another one now; Broken if there is none."""
        self.put_aside, self.made, self.same = [], set(), set()
        source = self.tree / fault.path
        self.put_by(source)
        text = source.with_name(source.name + ".sound").read_text()
        source.write_text(text[:fault.start] + fault.text + text[fault.end:])
        self.changed = set()
        for name in sorted(self.includers[fault.path]):
            if not any(name in contents for contents in self.contents.values()):
                continue
            before = self.fingerprint(name)
            self.put_by(self.build / name)
            self.make(self.compiling[name])
            if self.fingerprint(name) != before:
                self.changed.add(name)
        return bool(self.changed)

    def contains(self, name):
        return not self.contents[name].isdisjoint(self.changed)

    def sees(self, test):
        return any(map(self.contains, self.uses[test.name]))

    def link(self, test):
        """Links what the test runs and the fault is in. True if any of that is another one now."""
        for name in self.uses[test.name]:
            if self.contains(name) and name not in self.made:
                before = self.fingerprint(name)
                self.relink(name)
                if self.fingerprint(name) == before:
                    self.same.add(name)
        return any(self.contains(name) and name not in self.same for name in self.uses[test.name])

    def relink(self, name):
        self.made.add(name)
        for archive in self.linked[name] & self.linking.keys() - self.made:
            if self.linked[archive] & self.changed:
                self.relink(archive)
        self.put_by(self.build / name)
        self.make(self.linking[name])

    def make(self, command):
        try:
            self.run(command, seconds=COMPILE_SECONDS)
        except subprocess.TimeoutExpired as error:
            raise Broken(str(error)) from error

    def put_by(self, path):
        os.rename(path, path.with_name(path.name + ".sound"))
        self.put_aside.append(path)

    def uproot(self):
        """Puts back what was there. The source last: as long as it differs, the next run builds anew."""
        for path in reversed(self.put_aside):
            os.replace(path.with_name(path.name + ".sound"), path)
        self.empty_temporary()

    def fingerprint(self, name):
        return hashlib.sha256((self.build / name).read_bytes()).hexdigest()
