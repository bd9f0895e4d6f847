# SPDX-License-Identifier: Apache-2.0
"""The stand-ins for the shell interfaces of procd and UCI are as strict as the real ones."""
import subprocess

import pytest

from openwrt.procd import service, uci_file

HEADER = "#!/bin/sh /etc/rc.common\nUSE_PROCD=1\n"


class Root:
    def __init__(self, path):
        self.path = path
        self.config = path / "etc/config/demo"
        self.config.parent.mkdir(parents=True)

    def call(self, name, *arguments, text=""):
        return subprocess.run([service.HERE / "bin" / name, *arguments], capture_output=True,
                              text=True, check=False, input=text,
                              env=service.environment(self.path, self.path / "record"))

    def run(self, body, action="start", **states):
        script = self.path / "demo"
        script.write_text(HEADER + body)
        return service.run(script, action, self.path, **states)


@pytest.fixture(name="root")
def fixture_root(tmp_path):
    return Root(tmp_path)


@pytest.mark.parametrize("value", ["it's", 'a "b"', "a\nb", "back\\slash", "# no comment", " "])
def test_values_survive_writing_and_reading(value):
    sections = [uci_file.Section("demo", "one", {"text": value, "items": [value, "x"]})]

    assert uci_file.parse(uci_file.render(sections)) == sections


def test_quotes_are_optional_and_comments_are_skipped():
    text = "# begin\nconfig demo one # here\n\toption a b#c\n\toption d \"e \\\" 'f'\"\n"

    assert uci_file.parse(text) == [
        uci_file.Section("demo", "one", {"a": "b#c", "d": "e \" 'f'"})]


@pytest.mark.parametrize("text", ["option a 'b'\n", "config\n", "config a 'b\n", "nonsense\n",
                                  "config a b\noption c\n"])
def test_broken_file_is_an_error(text):
    with pytest.raises(uci_file.UciError):
        uci_file.parse(text)


def test_setting_an_option_creates_no_section(root):
    root.config.write_text("config demo 'one'\n")

    assert root.call("uci", "-q", "set", "demo.two.option=x").returncode == 1
    assert root.call("uci", "commit", "demo").returncode == 0
    assert root.config.read_text() == "config demo 'one'\n"


def test_change_is_visible_at_once_and_written_by_a_commit(root):
    root.config.write_text("config demo 'one'\n")

    assert root.call("uci", "set", "demo.one.a=it's").returncode == 0

    assert root.call("uci", "get", "demo.one.a").stdout == "it's\n"
    assert root.config.read_text() == "config demo 'one'\n"
    assert root.call("uci", "commit", "demo").returncode == 0
    assert root.config.read_text() == "\nconfig demo 'one'\n\toption a 'it'\\''s'\n\n"


def test_missing_package_is_an_error_that_can_be_silenced(root):
    assert root.call("uci", "get", "demo.one").stderr == "uci: Entry not found\n"
    assert root.call("uci", "-q", "get", "demo.one").stderr == ""
    assert root.call("uci", "-q", "get", "demo.one").returncode == 1


def test_validation_assigns_valid_values_and_defaults_only(root):
    root.config.write_text("config demo 'one'\n\toption on 'yes'\n\toption bad 'perhaps'\n")

    done = root.call("validate_data", "demo", "demo", "one", "on:bool:0", "bad:bool:0",
                     "missing:bool:1", 'level:or("A","B"):B', "text:string")

    assert done.returncode == 1
    assert done.stdout == "on='1';\nmissing='1';\nlevel='B';\ntext='';\n"
    assert done.stderr == "demo.one.bad=perhaps validates as bool with false\n"


def test_unknown_datatype_is_an_error(root):
    root.config.write_text("config demo 'one'\n\toption a 'x'\n")

    done = root.call("validate_data", "demo", "demo", "one", "a:sting")

    assert done.returncode == 1
    assert "does not know the datatype sting" in done.stderr


def test_parameters_are_kept_by_kind(root):
    started = root.run("start_service() {\n"
                       "procd_open_instance main\n"
                       "procd_set_param command prog 'a b'\n"
                       "procd_append_param command c\n"
                       "procd_set_param env A=1 B=x=y\n"
                       "procd_set_param user nobody\n"
                       "procd_close_instance\n}\n")

    assert started.exit_status == 0
    assert started.instances == {"main": {"command": ["prog", "a b", "c"],
                                          "env": {"A": "1", "B": "x=y"}, "user": "nobody"}}


@pytest.mark.parametrize("body", [
    "procd_set_param command prog", "procd_append_param command prog", "procd_close_instance",
    "procd_open_instance", "procd_open_instance; procd_open_instance"])
def test_wrong_use_of_procds_functions_is_an_error(root, body):
    started = root.run(f"start_service() {{\n{body}\n}}\n")

    assert started.exit_status == 70
    assert "rc.common: " in started.errors


def test_unknown_action_is_an_error(root):
    assert root.run("start_service() { :; }\n", "jump").exit_status == 70


def test_reload_asks_procd_again_unless_the_script_does_it_by_itself(root):
    start = "start_service() { :; }\n"

    assert root.run(start, "reload").name == "demo"
    assert root.run(start + "reload_service() { :; }\n", "reload").name is None
    assert root.run(start + "reload_service() { start; }\n", "reload").name == "demo"


def test_validation_in_a_script_names_the_invalid_value(root):
    root.config.write_text("config demo 'one'\n\toption a 'x'\n")

    started = root.run("start_service() { uci_validate_section demo demo one a:bool; }\n")

    assert started.errors == "demo.one.a=x validates as bool with false\n"


@pytest.mark.parametrize("document, found", [
    ('{"route": [{"mask": 24, "target": "a"}, {"mask": 0, "target": "b"}]}', ["b"]),
    ('{"route": [{"mask": 0, "target": "b"}, {"mask": 0, "target": "c"}, {"mask": 0}]}', ["b", "c"]),
    ('{"route": []}', []), ('{"inactive": {"route": [{"mask": 0, "target": "b"}]}}', [])])
def test_jsonfilter_prints_one_field_of_matching_members(root, document, found):
    done = root.call("jsonfilter", "-e", "@.route[@.mask=0].target", text=document)

    assert done.stdout.splitlines() == found
    assert done.returncode == (0 if found else 1)


@pytest.mark.parametrize("path, found", [
    ("@.a", "text"), ("@.b.c", "5"), ("@.b", None), ("@.x", None), ("@.a.x", None), ("@.b.x", None)])
def test_jsonfilter_prints_the_value_at_a_path(root, path, found):
    done = root.call("jsonfilter", "-e", path, text='{"a": "text", "b": {"c": 5}}')

    assert done.stdout == (f"{found}\n" if found else "")
    assert done.returncode == (0 if found else 1)


def test_jsonfilter_fails_on_what_it_does_not_know(root):
    assert root.call("jsonfilter", "-e", "@.route[0]", text="{}").returncode == 125
    assert root.call("jsonfilter", "-e", "@.a[@.b=0].c", text="nonsense").returncode == 126


@pytest.mark.parametrize("key, restarts", [
    ("command", True), ("env", True), ("respawn", True), ("term_timeout", False),
    ("data", False), ("stdout", False)])
def test_only_some_parameters_restart_an_instance(key, restarts):
    assert service.needs_restart({key: "old"}, {key: "new"}) == restarts


@pytest.mark.parametrize("running, seen", [((), ""), (("demo",), "demo "), (("other",), "other "),
                                           (("other", "demo"), "demo other ")])
def test_script_sees_which_services_run(root, running, seen):
    started = root.run("""start_service() {
        for name in demo other dem; do
            ! procd_running "$name" || printf '%s ' "$name" >&2
        done
    }
    """, running=running)

    assert (started.exit_status, started.errors) == (0, seen)


@pytest.mark.parametrize("arguments", ["", "''", "demo instance1"])
def test_only_whole_services_are_known_to_run(root, arguments):
    started = root.run(f"start_service() {{ procd_running {arguments}; }}\n", running=("demo",))

    assert (started.exit_status, started.errors) == (
        70, "rc.common: procd_running takes the name of a service\n")
