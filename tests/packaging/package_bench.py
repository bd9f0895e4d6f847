# SPDX-License-Identifier: Apache-2.0
"""Runs the package's scripts below a directory that replaces a gateway's /."""
import os
import pathlib
import subprocess

from openwrt.procd import service, uci_file

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PACKAGE = PROJECT / "packaging/openwrt"
FILES = PACKAGE / "files"


class Gateway:
    def __init__(self, root, shell):
        self.root = pathlib.Path(root)
        self.shell = shell
        self.record = self.root / "record"
        for directory in ("etc/config", "run", "libexec", "bin"):
            (self.root / directory).mkdir(parents=True)

    @property
    def config_path(self):
        return self.root / "etc/config/zephran"

    def configure(self, service_options=None, **sections):
        """Writes the configuration: options of section service, other sections by name."""
        sections = {"service": service_options or {}, **sections}
        self.config_path.write_text(uci_file.render(
            [uci_file.Section(name, name, options) for name, options in sections.items()]))

    def file(self, name):
        """Creates a file and returns its path."""
        path = self.root / name
        path.touch()
        return os.fspath(path)

    def command(self, name, text):
        """Adds a program that takes precedence over the machine's own."""
        path = self.root / "bin" / name
        path.write_text(text)
        path.chmod(0o755)
        return path

    def place(self, name, directory="."):
        """Copies a script of the package, with this directory instead of the real ones."""
        text = (FILES / name).read_text()
        places = {"/var/run/": f"{self.root}/run/",
                  "/usr/libexec/zephran-poll": f"{self.root}/libexec/zephran.poll"}
        if name == "zephran.defaults":
            places["/etc/config/"] = f"{self.root}/etc/config/"
        for real, placed in places.items():
            text = text.replace(real, placed)
        path = self.root / directory / name
        path.write_text(text)
        path.chmod(0o755)
        return path

    def init(self, action="start", running=False):
        """Calls the init script while procd says that the daemon is running, or that it is not."""
        return service.run(self.place("zephran.init"), action, self.root, self.shell,
                           running=["zephran"] if running else [])

    def instance(self):
        """The only instance that the configuration asks for."""
        started = self.init()
        assert (started.exit_status, started.errors, started.log) == (0, "", [])
        [instance] = started.instances.values()
        return instance

    def source(self, name, **variables):
        """Runs a hotplug or defaults script as the system does. Returns its exit status.

        Also returns a function that waits for its background processes.
        """
        read_end, write_end = os.pipe()
        environment = service.environment(self.root, self.record)
        environment["PATH"] = f"{self.root / 'bin'}:{environment['PATH']}"
        done = subprocess.run([*self.shell, "-c", '( . "$0" )', self.place(name)],
                              env={**environment, **variables}, pass_fds=[write_end],
                              capture_output=True, text=True, check=False, timeout=60)
        os.close(write_end)
        assert (done.stdout, done.stderr) == ("", "")

        def wait():
            with open(read_end, "rb") as stream:
                stream.read()

        return done.returncode, wait
