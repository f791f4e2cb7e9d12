"""Runs tests until one fails: bounded, and where nothing that a fault does can reach another process."""

import os
import signal
import subprocess
import tempfile
import time

AT_ONCE = 6  # most tests wait most of the time
MORE_TIME = 4  # times as much for one that has failed

# A test has a namespace of processes: a `kill` with a wrong number ends nothing else, and nothing outlives it. The first
# process there has rights and duties that a test isn't made for, and is a shell. All of it ends with our own process.
APART = ["prlimit", f"--data={8 << 30}", f"--fsize={16 << 30}", "--core=0", "setpriv", "--pdeathsig", "KILL",
         "unshare", *([] if os.geteuid() == 0 else ["--user", "--map-current-user"]), "--pid", "--fork",
         "--kill-child", "--mount-proc", "sh", "-c", '"$@"; exit $?', "sh"]


class Running:
    def __init__(self, test, environment, seconds):
        self.test, self.start, self.seconds = test, time.monotonic(), seconds
        self.output = tempfile.TemporaryFile()
        self.process = subprocess.Popen([*APART, *test.command], cwd=test.folder, stdin=subprocess.DEVNULL,
                                        env={**environment, **test.environment}, stdout=self.output,
                                        stderr=subprocess.STDOUT, start_new_session=True)

    def failure(self):
        """Empty if the test has passed, None as long as it runs."""
        status = self.process.poll()
        if status is not None:
            return f"status {status}" if status != 0 else ""
        return f"hung for {self.seconds:.0f} s" if time.monotonic() - self.start > self.seconds else None

    def end(self):
        """What it has printed."""
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
        with self.output:
            self.output.seek(0)
            return self.output.read(1 << 20).decode(errors="replace")


def alone(test, environment, seconds):
    running = Running(test, environment, seconds)
    while running.failure() is None:
        time.sleep(0.01)
    return running.failure(), running.end()


def first_failure(tests, environment, bounds, wanted=lambda test: True, durations=None):
    """The first test that fails, how, and what it printed; (None, "", "") if none does. `bounds` has the seconds that
    each is given, `durations` gets those that each has taken. `wanted` is asked for each before it starts. What fails
    in company has to fail once more without, and with more time: it may have been the company, or a busy machine."""
    waiting, running = list(tests), []
    try:
        while waiting or running:
            while waiting and len(running) < AT_ONCE:
                test = waiting.pop(0)
                if wanted(test):
                    running.append(Running(test, environment, bounds[test.name]))
            one, failure = next(((one, failure) for one in running if (failure := one.failure()) is not None), (None, ""))
            if one is None:
                time.sleep(0.01)
                continue
            running.remove(one)
            one.end()
            if durations is not None:
                durations[one.test.name] = time.monotonic() - one.start
            if failure:
                waiting[:0] = [other.test for other in running]
                while running:
                    running.pop().end()
                failure, output = alone(one.test, environment, MORE_TIME * bounds[one.test.name])
                if failure:
                    return one.test, failure, output
        return None, "", ""
    finally:
        for one in running:
            one.end()
