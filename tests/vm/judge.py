"""Holds what the prober and prowl have said against what lspci, eglinfo and the kernel say of the same guest."""

import json
import re
import shlex

IGNORED = "ContextOffscreen exception caught and ignored."
KERNEL_FAULT = re.compile(r"Oops|BUG: |general protection")


def judge(row, job, hung):
    """What is wrong, in lines."""
    end = guests_end(job, hung)
    if end or row.end in ("hung", "panicked"):
        return [] if row.end in end else [f"the guest {end or 'ended as usual'}"]
    wrong = [f"kernel: {line}" for line in read(job, "dmesg").splitlines() if KERNEL_FAULT.search(line)]
    if row.commands == "suite":
        return wrong + suite(job)
    run = Run(job / "report.json")
    if not run.text.startswith(row.end):
        return [*wrong, f"prowl said: {run.text}", *run.errors]
    if row.end != "The prober finished":  # it's a fault of the kernel that is wanted
        return []
    facts = Facts(job)
    wrong += against_facts(row, run, facts)
    if (job / "look.json").exists():
        wrong += against_look(row, Run(job / "look.json"), facts) + isolation(run, Run(job / "isolation.json"))
    moments = sorted(job.glob("moment-*"))
    wanted = int(re.search(r"(?:moments|suspends) (\d+)|$", row.commands)[1] or 0)
    if len(moments) < wanted and not (moments and read(job, "kept-by-kernel")):
        wrong.append(f"only {len(moments)} moments")
    for moment in moments:
        wrong += [f"{moment.stem}: {words}" for words in at_a_moment(row, Run(moment))]
    return wrong


def read(job, name):
    path = job / name
    return path.read_text(errors="replace") if path.exists() else ""


def guests_end(job, hung):
    """Empty where it has come to its end."""
    if read(job, "done"):
        return ""
    serial = read(job, "serial")
    panic = re.search("Kernel panic.*", serial)
    if panic:
        return f"panicked: {panic[0]}"
    last = (serial.splitlines() or ["nothing"])[-1]
    return f"hung; it last said: {last}" if hung else f"ended early; it last said: {last}; {read(job, 'qemu')}"


class Run:
    """The first run of an answer; the report is read from the prober's own lines."""

    def __init__(self, path):
        self.answer = json.loads(path.read_text())
        self.text = self.answer["text"]
        self.reasons = [reason["code"] for reason in self.answer["reasons"]]
        self.drivers = [driver["behaviour"] for driver in self.answer["drivers"] if driver["interface"] == "OpenGL"]
        self.complete = [renderer(gpu["values"], "glName", "glRenderer") for gpu in self.answer["gpus"]
                         if gpu["interface"] == "OpenGL" and gpu["complete"]]
        for run in self.answer["runs"][:1]:
            self.end, self.last = (self.answer["verdict"], run["end"]), run["lastLine"]
            self.lines, self.errors = ([line["text"] for line in run[name]["lines"]] for name in ("stdout", "stderr"))
            self.values = dict(re.findall(r'^([^#=]+)="?(.*?)"?$', "\n".join(self.lines), re.MULTILINE))
            tags = [f"glgpu[{index}]." for index in range(int(self.values.get("NumGLGPUs", 0)))]
            self.gpus = [{key[len(tag):]: text for key, text in self.values.items() if key.startswith(tag)}
                         for tag in tags]
            self.reported = [renderer(gpu, "GLName", "GLRenderer") for gpu in self.gpus]


def renderer(values, name, renderer):
    return f"{values.get(name, '')} by {values[renderer].partition(' ')[0]}".strip()


class Facts:
    def __init__(self, job):
        cards = [shlex.split(line) for line in read(job, "lspci").splitlines()]
        self.cards = {slot: card(named(vendor)[1], *named(device)) for slot, kind, vendor, device, *_ in cards
                      if named(kind)[1] >> 8 == 3}
        self.drivers = {slot: driver for driver, slot in re.findall(r"(\S+) dev=(\S+)", read(job, "drivers"))}
        self.release, version = read(job, "kernel").split(" ", 1)
        self.date = re.search(r"\((\d+-\d+-\d+)\)", version)[1].replace("-", "")
        devices = read(job, "eglinfo").partition("Device platform:")[2].split("Device #")[1:]
        hardware = [device for device in devices if "EGL_MESA_device_software" not in device]
        self.working = sum("EGL driver name:" in device for device in hardware)
        self.refusals = len(hardware) - self.working
        self.noise = read(job, "eglinfo-errors")  # of drivers
        self.render_nodes = read(job, "nodes").split()

    def names(self):
        """The GPUs that OpenGL reaches; an empty name for one that isn't known to the bus."""
        slots = [path.rpartition("/")[2] for path in self.render_nodes] if self.working else []
        return {self.cards[slot][1] for slot in slots if slot in self.cards} or {""}

    def texts(self, name):
        """What the report says of the GPU of that name. None of QEMU's cards has memory of which its driver tells."""
        found = [(self.drivers[slot], vendor, device) for slot, (vendor, words, device) in self.cards.items()
                 if words == name and slot in self.drivers]
        if not found:
            return {"GLVendorID": "0", "GLRendererID": "0", "GLMemoryMB": "0"}
        driver, vendor, device = found[-1]
        return {"GLVendorID": str(vendor), "GLRendererID": str(device), "GLMemoryMB": "0", "GLDriver": driver,
                "GLDriverVersion": self.release, "GLDriverDate": self.date + "000000.000000-000"}


def card(vendor, name, device):
    return vendor, f"PCI {vendor:04x}:{device:04x}" if name == "Device" else name, device


def named(words):
    """Name and number of lspci's "Chip [Marketing name] [1234]"."""
    name, number = re.fullmatch(r"(.*) \[([0-9a-f]{4})\]", words).groups()
    return re.sub(r".*\[(.*)\]$", r"\1", name), int(number, 16)


def differences(**pairs):
    return [f"{what}: {got}, and not {wanted}" for what, (got, wanted) in pairs.items() if got != wanted]


def against_facts(row, run, facts):
    names, known = [gpu.get("GLName", "") for gpu in run.gpus], facts.names()
    if facts.working and facts.refusals:  # eglinfo doesn't tell which
        known &= set(names)
    wrong = differences(
        table=(run.reported, row.gpus), reasons=(run.reasons, row.reasons), GPUs=(sorted(names), sorted(known)),
        created=(run.values["OGLContextCreated"], row.created), prowl=(run.complete, run.reported),
        refusals=(run.errors.count(IGNORED), facts.refusals),
        errors=([line for line in run.errors if line != IGNORED and line not in facts.noise], []),
        end=((*run.end, run.lines[-1].partition("=")[0]), ("finished", "exit status 0", "prowlerEnd")))
    for gpu in run.gpus:
        wanted = facts.texts(gpu.get("GLName", ""))
        told = {key: gpu[key] for key in gpu if key in wanted or key.startswith("GLDriver")}
        wrong += differences(GPU=(told, wanted))
    return wrong


def against_look(row, look, facts):
    """Only a run knows what renders."""
    cards = {card["address"]: (card["vendorID"], card["name"], card["deviceID"]) for card in look.answer["adapters"]}
    groups = [card["group"] for card in look.answer["adapters"] if card["group"]]
    return differences(look=(look.reasons, [code for code in row.reasons if code != "only-software"]),
                       groups=(groups, ["render"] * row.reasons.count("node-not-allowed")),
                       cards=(cards, facts.cards))


def isolation(run, bad):
    """A driver that crashes stands beside Mesa's; all that Mesa reaches is there."""
    return differences(isolation=((bad.end, bad.drivers, bad.reasons[-1:], bad.complete),
                                  (("crashed", "signal 11 (SIGSEGV)"), ["sound", "crashed"], ["driver-crashed"],
                                   run.reported)))


def at_a_moment(row, run):
    """The card went away: it is one GPU all the same, its own or the software renderer's, which may fail a question. Or
    the kernel still waits for the card."""
    last = (run.lines or [""])[-1]
    if row.may_hang and run.end[0] == "hung":
        return differences(last=(run.last, last))
    failed = any(line.startswith("exception: ") for line in run.errors)
    end = ("finished-with-failures", "exit status 2") if failed else ("finished", "exit status 0")
    return differences(end=((*run.end, run.values.get("OGLContextCreated"), len(run.gpus), last.partition("=")[0]),
                            (*end, "1", 1, "prowlerEnd")))


def suite(job):
    log = read(job, "suite")
    return [] if re.search("100% tests passed, 0 tests failed out of [1-9]", log) else [log[-5000:]]
