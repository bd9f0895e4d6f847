# SPDX-License-Identifier: Apache-2.0
"""The contents of the simulated gateway, seen from outside: its files, tools and chips."""
import shutil
from pathlib import Path

HERE = Path(__file__).resolve().parent
MOMENTS = ("before", "midway", "after")
DIRECTORIES = ("etc/config", "etc/init.d", "etc/installed", "etc/opkg", "sbin", "run/ubus", "flash",
               "mtd", "lib/firmware/plc", "chips", "orders", "log")
FIRST_FIRMWARE = "1.0_20250101"


class Equipment:
    """The files of one gateway. They survive a reboot."""

    def __init__(self, run_dir: str | Path) -> None:
        self.run_dir = Path(run_dir).resolve()
        for name in DIRECTORIES:
            (self.run_dir / name).mkdir(parents=True, exist_ok=True)
        for source, place in (("tools", "sbin"), ("tools/init.d", "etc/init.d")):
            for tool in sorted((HERE / source).glob("[!.]*")):
                if tool.is_file():
                    shutil.copy(tool, self.run_dir / place / tool.name)
        self.install_firmware(FIRST_FIRMWARE)

    # ---- files

    def config(self, package: str, text: str | None = None) -> str:
        """The text of a configuration package; `text` replaces it first."""
        path = self.run_dir / "etc/config" / package
        if text is not None:
            path.write_text(text, encoding="utf-8")
        return path.read_text(encoding="utf-8")

    def etc_file(self, name: str, text: str) -> None:
        """Puts a file into /etc. A new file must be added before the first start."""
        (self.run_dir / "etc" / name).write_text(text, encoding="utf-8")

    def flash(self, name: str, content: bytes, erase_size: int = 65536) -> Path:
        """Adds a flash partition such as "mtd1"; must be called before the first start.

        Returns the file that holds its contents.
        """
        (self.run_dir / "mtd" / name).mkdir(exist_ok=True)
        for attribute, value in {"erasesize": erase_size, "size": len(content), "name": name}.items():
            (self.run_dir / "mtd" / name / attribute).write_text(f"{value}\n", encoding="utf-8")
        path = self.run_dir / "flash" / name
        path.write_bytes(content)
        return path

    def install_firmware(self, version: str) -> None:
        """Makes the gateway run a firmware such as "2.1_20260101"."""
        number, date = version.split("_")
        self.etc_file("nevra-version", f"FIRMWARE_VERSION={number} FIRMWARE_DATE={date}\n")

    @property
    def firmware(self) -> str:
        """The version that the firmware reports."""
        words = (self.run_dir / "etc/nevra-version").read_text(encoding="utf-8").split()
        return "_".join(word.partition("=")[2] for word in words)

    def chip(self, name: str) -> bytes | None:
        """What was last programmed into "firmware", "plc" or "zwave"; None if nothing was."""
        path = self.run_dir / "chips" / name
        return path.read_bytes() if path.exists() else None

    @property
    def packages(self) -> dict[str, tuple[str, str]]:
        """The package manager's records: {name: (version, state)}."""
        path = self.run_dir / "etc/opkg/status"
        known = {}
        for stanza in path.read_text(encoding="utf-8").split("\n\n") if path.exists() else ():
            fields = dict(line.split(": ", 1) for line in stanza.splitlines() if line)
            if fields:
                known[fields["Package"]] = (fields["Version"], fields["Status"].split()[-1])
        return known

    @property
    def installed_files(self) -> dict[str, bytes]:
        """Names and contents of the files that packages have installed."""
        root = self.run_dir / "etc/installed"
        return {str(path.relative_to(root)): path.read_bytes()
                for path in sorted(root.rglob("*")) if path.is_file()}

    # ---- tools

    def tool(self, name: str, script: str) -> None:
        """Puts a program into /usr/sbin. A new one must be added before the first start."""
        self._put(self.run_dir / "sbin" / name, script)

    def init_script(self, name: str, script: str) -> None:
        """Puts a program into /etc/init.d."""
        self._put(self.run_dir / "etc/init.d" / name, script)

    def take_away(self, name: str) -> None:
        """Removes a tool or an init script; must be called before the first start."""
        places = [self.run_dir / place / name for place in ("sbin", "etc/init.d")]
        found = [path for path in places if path.exists()]
        if not found:
            raise FileNotFoundError(f"the gateway has no tool {name}")
        for path in found:
            path.unlink()

    def calls(self, tool: str | None = None) -> list[str]:
        """Command lines of one simulated tool, or of all, in the order of their calls."""
        path = self.run_dir / "log/calls"
        lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
        return [line for line in lines if tool in (None, line.split(" ")[0])]

    def tell(self, tool: str, *, when: str = "before", output: str | bytes | None = None, hang: bool = False,
             kill: int | None = None, exit: int | None = None, first: int = 1, times: int | None = 1) -> None:
        """Injects a fault: what a tool in tools/ does besides or instead of its work.

        when    the moment within a call: "before" its work, "midway", or "after" it
        output  text or bytes that it prints at that moment
        hang    it stops there until release(tool) or until it is killed
        kill    number of the signal that ends it there
        exit    status that it ends with there; None: it goes on with its work
        first   the number of the first affected call, counted from now
        times   how many calls are affected; None: all of them, whatever `first` is
        """
        if when not in MOMENTS:
            raise ValueError(f"a call has the moments {MOMENTS}, not {when!r}")
        place = self.run_dir / "orders" / tool
        place.mkdir(exist_ok=True)
        for mark in ("go", "held"):
            (place / mark).unlink(missing_ok=True)
        waiting = len(list(place.glob("[0-9]*")))
        order = f"when={when}\n"
        if output is not None:
            path = place / f"output-{waiting}"
            path.write_bytes(output.encode() if isinstance(output, str) else output)
            order += f"output='{path}'\n"
        order += "".join(f"{name}={value}\n" for name, value in
                         {"hang": 1 if hang else None, "kill": kill, "exit": exit}.items()
                         if value is not None)
        if times is None:
            (place / "always").write_text(order, encoding="utf-8")
            return
        for number, text in enumerate(["when=nothing\n"] * (first - 1) + [order] * times, waiting):
            (place / f"{number:06}").write_text(text, encoding="utf-8")

    def is_held(self, tool: str) -> bool:
        """Whether a call that was told to hang has reached that point."""
        return (self.run_dir / "orders" / tool / "held").exists()

    def release(self, tool: str) -> None:
        """Lets hanging calls continue."""
        (self.run_dir / "orders" / tool / "go").touch()

    def _put(self, path: Path, script: str) -> None:
        path.write_text(script, encoding="utf-8")
        path.chmod(0o755)
