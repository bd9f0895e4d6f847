# SPDX-License-Identifier: Apache-2.0
"""A script on the gateway that runs until a test releases it."""


class HeldScript:
    """Its module is `module`; what it prints after its release is `after`."""

    def __init__(self, bench, name, after="echo released"):
        self._bench = bench
        self._name = name
        self.module = bench.script(name, f"echo run >>/tmp/{self._mark('runs')}\n"
                                         f"while [ ! -e /tmp/{self._mark('go')} ]; do sleep 0.1; done\n"
                                         f"{after}\n")

    def _mark(self, what):
        return f"held-{self._name}-{what}"

    @property
    def own_files(self):
        """The files that the script itself leaves in the gateway's /tmp."""
        names = (self._mark(what) for what in ("go", "runs"))
        return [name for name in names if (self._bench.gateway.tmp / name).exists()]

    @property
    def runs(self):
        """How often it has been started since the last reboot."""
        path = self._bench.gateway.tmp / self._mark("runs")
        return path.read_text().count("run") if path.exists() else 0

    def wait_until_it_runs(self, times=1):
        self._bench.wait_until(lambda: self.runs >= times, f"the start of script {self._name}")

    def release(self):
        (self._bench.gateway.tmp / self._mark("go")).touch()
