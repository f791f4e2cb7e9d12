"""Chromium without a window, told what to do through two pipes."""

import base64
import json
import os
import subprocess
import tempfile


class Browser:
    def __init__(self):
        self.home = tempfile.TemporaryDirectory(prefix="gpuprowler-page-", ignore_cleanup_errors=True)
        read_ours, write_theirs = os.pipe()
        read_theirs, write_ours = os.pipe()
        options = ["--headless", "--no-sandbox", "--disable-gpu", "--remote-debugging-pipe", "--hide-scrollbars",
                   "--disable-background-networking", "--disable-component-update", "--no-first-run",
                   "--force-color-profile=srgb", f"--user-data-dir={self.home.name}"]
        self.process = subprocess.Popen(
            ["bash", "-c", f'exec chromium "$@" 3<&{read_theirs} 4>&{write_theirs}', "chromium", *options],
            pass_fds=[read_theirs, write_theirs], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(read_theirs)
        os.close(write_theirs)
        self.input = os.fdopen(write_ours, "wb", buffering=0)
        self.output = os.fdopen(read_ours, "rb")
        self.count = 0
        self.events = []
        self.session = None
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Network", "Log", "Runtime", "Accessibility"):
            self.call(f"{domain}.enable")

    def close(self):
        self.session = None
        self.call("Browser.close")
        self.process.wait(20)

    def call(self, method, **parameters):
        self.count += 1
        message = {"id": self.count, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        self.input.write(json.dumps(message).encode() + b"\0")
        while True:
            answer = self._next()
            if answer.get("id") == self.count:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def open(self, path, width=1200, height=900, dark=False, media=""):
        """Loads the file, and gives what happened meanwhile."""
        self.events = []
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                  mobile=False)
        self.call("Emulation.setEmulatedMedia", media=media,
                  features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])
        self.call("Page.navigate", url="file://" + os.path.abspath(path))
        while not any(event.get("method") == "Page.loadEventFired" for event in self.events):
            self.events.append(self._next())
        return self.events

    def evaluate(self, script):
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(result["exceptionDetails"])
        return result["result"].get("value")

    def screenshot(self, path):
        picture = self.call("Page.captureScreenshot", captureBeyondViewport=True)
        with open(path, "wb") as file:
            file.write(base64.b64decode(picture["data"]))

    def _next(self):
        bytes_ = bytearray()
        while (byte := self.output.read(1)) != b"\0":
            if not byte:
                raise RuntimeError("the browser has ended")
            bytes_ += byte
        return json.loads(bytes_)
