"""Holds what the prober and prowl have said against what lspci, eglinfo and the kernel say of the same guest."""

import json
import re
import shlex

IGNORED = "ContextOffscreen exception caught and ignored."
KERNEL_FAULT = re.compile(r"Oops|BUG: |general protection|blocked for more than")


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
    wrong += against_table(row, run) + against_facts(row, run, Facts(job))
    for moment in sorted(job.glob("moment-*")):
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
    """A run of the prober, as prowl tells it; the report is read from the prober's own lines."""

    def __init__(self, path):
        document = json.loads(path.read_text())
        self.verdict, self.status, self.text = document["verdict"], document["status"], document["text"]
        self.last = document["lastLine"]
        self.lines = [line["text"] for line in document["stdout"]["lines"]]
        self.errors = [line["text"] for line in document["stderr"]["lines"]]
        self.values = dict(re.findall(r'^([^#=]+)="?(.*?)"?$', "\n".join(self.lines), re.MULTILINE))
        self.prowls_gpus = [gpu["findings"] for gpu in document["gpus"] if gpu["tag"].startswith("glgpu")]
        tags = [f"glgpu[{index}]." for index in range(int(self.values.get("NumGLGPUs", 0)))]
        self.gpus = [{key[len(tag):]: text for key, text in self.values.items() if key.startswith(tag)} for tag in tags]


class Facts:
    def __init__(self, job):
        cards = [shlex.split(line) for line in read(job, "lspci").splitlines()]
        self.cards = {slot: (named(vendor)[1], *named(device)) for slot, kind, vendor, device, *_ in cards
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


def named(words):
    """Name and number of lspci's "Chip [Marketing name] [1234]"."""
    name, number = re.fullmatch(r"(.*) \[([0-9a-f]{4})\]", words).groups()
    return re.sub(r".*\[(.*)\]$", r"\1", name), int(number, 16)


def against_table(row, run):
    got = [f"{gpu.get('GLName', '')} by {gpu['GLRenderer'].partition(' ')[0]}".strip() for gpu in run.gpus]
    return [] if got == row.gpus else [f"reported {got}, and not {row.gpus}"]


def against_facts(row, run, facts):
    wrong = []

    def expect(what, got, wanted):
        if got != wanted:
            wrong.append(f"{what}: {got}, and not {wanted}")

    names, known = [gpu.get("GLName", "") for gpu in run.gpus], facts.names()
    if facts.working and facts.refusals:  # eglinfo doesn't tell which
        known &= set(names)
    expect("GPUs", sorted(names), sorted(known))
    expect("OGLContextCreated", run.values["OGLContextCreated"], row.created)
    expect("refusals", run.errors.count(IGNORED), facts.refusals)
    expect("standard error", [line for line in run.errors if line != IGNORED and line not in facts.noise], [])
    expect("prowl's GPUs", [gpu["GLRenderer"] for gpu in run.prowls_gpus], [gpu["GLRenderer"] for gpu in run.gpus])
    expect("verdict", (run.verdict, run.status, run.lines[-1].partition("=")[0]), ("finished", 0, "prowlerEnd"))
    for gpu in run.gpus:
        wanted = facts.texts(gpu.get("GLName", ""))
        expect("GPU", {key: gpu[key] for key in gpu if key in wanted or key.startswith("GLDriver")}, wanted)
    return wrong


def at_a_moment(row, run):
    """The card went away: it is one GPU all the same, its own or the software renderer's, which may fail a question. Or
    the kernel still waits for the card."""
    if row.may_hang and run.verdict == "hung":
        return [] if run.status == 5 and run.last == (run.lines or [None])[-1] else [f"{run.text}, {run.last}"]
    failed = any(line.startswith("exception: ") for line in run.errors)
    got = (run.values.get("OGLContextCreated"), len(run.gpus), run.lines[-1].partition("=")[0], run.verdict, run.status)
    wanted = ("1", 1, "prowlerEnd", *(("finished-with-failures", 2) if failed else ("finished", 0)))
    return [] if got == wanted else [f"{run.text}, {run.lines[-1]}, {run.errors}"]


def suite(job):
    logs = {path.name: path.read_text(errors="replace") for path in sorted(job.glob("*_test"))}
    return [f"{name}: {log[-2000:]}" for name, log in logs.items()
            if "status" in log or not re.search(r"\[  PASSED  \] [1-9]", log)] or ([] if logs else ["no tests"])
