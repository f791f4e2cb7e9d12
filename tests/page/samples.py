"""Documents that a page must stand: real ones on order, made ones beyond what a machine here has."""

import copy
import json
import os
import subprocess

HOSTILE = [
    "</code></td></table></style></svg><script>document.title='owned'</script>",
    "\"'><img src=x onerror=alert(1)><a href=\"javascript:alert(1)\">a</a>",
    "<style>body{display:none}</style><iframe src=//evil.example></iframe><base href=//evil.example>",
    "`` ``` | a | b |\n|---|---|\n``` </details> # title",
    "@everyone #123 GH-1 https://evil.example ![x](https://evil.example/x.png) [x](javascript:x) <b>b</b>",
    "\u202egnp.exe\u2066 \u200b\u2028 \x1b[2J \x00 \u05d0\u05d1 \ufeff",
    "&lt;script&gt; &#64; {{ 7*7 }} ${x} $`x`$ ~~s~~ **b** __u__ :smile: --> ]]>",
    "M" * 1000000,
]


def real(programs):
    """Asked of the drivers that are here, sound and not."""
    build = os.path.dirname(programs)
    bad = os.path.join(build, "rig/egl/rigegl.json")
    mesa = "/usr/share/glvnd/egl_vendor.d/50_mesa.json"
    asked = {
        "sound": ([], {}),
        "crashed": (["--no-isolate"], {"RIG_FAULT": "clBuildProgram=segv"}),
        "hung": (["--question-timeout", "2", "--no-isolate"],
                 {"RIG_FAULT": "glLinkProgram=hang", "__EGL_VENDOR_LIBRARY_FILENAMES": bad}),
        "isolated": ([], {"RIG_FAULT": "eglQueryDevicesEXT@2=segv",
                          "__EGL_VENDOR_LIBRARY_FILENAMES": f"{bad}:{mesa}"}),
        "unstarted": (["--prober", "/none"], {}),
        "look": (["look"], {}),
    }
    rig = {"OPENCL_LAYERS": os.path.join(build, "lib/librigcl.so"), "RIG_CL_CPU_AS_GPU": "1",
           "OCL_ICD_VENDORS": "pocl.icd"}
    for name, (words, variables) in asked.items():
        done = subprocess.run([os.path.join(programs, "prowl"), "--json", *words], stdout=subprocess.PIPE,
                              env={**os.environ, **rig, **variables}, stdin=subprocess.DEVNULL)
        yield name, json.loads(done.stdout)


def workstation(sound):
    """Two cards and their drivers."""
    document = copy.deepcopy(sound)
    card = {"address": "0000:00:02.0", "name": "UHD Graphics 620", "vendorID": 0x8086, "deviceID": 0x3ea0,
            "subsystemID": 0, "revision": 2, "driver": "i915", "driverVersion": "6.1.0-18-amd64",
            "driverDate": "2026-02-01", "memoryBytes": 0, "memorySource": "", "asleep": False,
            "renderNode": "/dev/dri/renderD128", "mayOpen": True, "group": "", "outputs": ["eDP-1"]}
    other = {**card, "address": "0000:01:00.0", "name": "GeForce RTX 3060 Mobile", "vendorID": 0x10de,
             "deviceID": 0x2520, "driver": "nvidia", "driverVersion": "525.147.05", "memoryBytes": 6 << 30,
             "asleep": True, "renderNode": "/dev/dri/renderD129", "mayOpen": False, "group": "render",
             "outputs": []}
    document["adapters"] = [card, other]
    document["reasons"] = [{"code": "node-not-allowed", "adapter": 1,
                            "text": "/dev/dri/renderD129 may only be opened by the group render."}]
    document["gpus"] = many(document, 5)["gpus"]
    for place, gpu in enumerate(document["gpus"]):
        gpu["adapter"] = place % 2
        gpu["software"] = False
    return document


def many(sound, count):
    document = copy.deepcopy(sound)
    kinds = document["gpus"]
    document["gpus"] = []
    for place in range(count):
        gpu = copy.deepcopy(kinds[place % len(kinds)])
        gpu["tag"] = gpu["tag"][:6] + str(place // len(kinds)) + "]"
        for key, factor in (("clBandwidth", 1.1e9), ("clCompute", 0.31)):
            if key in gpu["values"]:
                gpu["values"][key] = factor * (1 + 7 * place % 17)
        document["gpus"].append(gpu)
    return document


def hostile(sound):
    """Every text that may be anything is markup, or worse."""
    document = copy.deepcopy(sound)
    words = iter(range(10**6))

    def spoilt(part, key=""):
        if isinstance(part, dict):
            return {name: spoilt(value, name) for name, value in part.items()}
        if isinstance(part, list):
            return [spoilt(value, key) for value in part]
        if isinstance(part, str) and key not in ("verdict", "interface", "behaviour", "kind", "schema"):
            return HOSTILE[next(words) % (len(HOSTILE) - 1)]
        return part

    for name in ("text", "prober", "arguments", "reasons", "adapters", "drivers", "gpus", "runs", "reportKeys"):
        document[name] = spoilt(document[name])
    document["runs"][0]["asked"] = HOSTILE[:-1] * 3
    document["runs"][0]["notes"] = HOSTILE
    return document


def huge(sound):
    """As long as a document may be."""
    document = copy.deepcopy(many(sound, 64))
    line = {"seconds": 1, "kind": "other", "text": "<&\"" * 300, "bytesCut": 0}
    for stream in ("stdout", "stderr"):
        document["runs"][0][stream]["lines"] += [line] * 6500
    return document


def made(sound):
    yield "workstation", workstation(sound)
    yield "many", many(sound, 64)
    yield "hostile", hostile(workstation(sound))
    yield "huge", huge(sound)
