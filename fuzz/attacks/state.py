"""What zansim does to directories that are not its own, and what it leaves behind."""
import os
import pathlib
import random
import subprocess
import time

from common import (Kind, SCRATCH, ZANCTL, ZANSIM, machine, run, wait_for)


def tree(folder):
    """Everything below a directory, with what tells whether it was touched."""
    found = {}
    for path in sorted([folder, *folder.rglob("*")]):
        status = path.lstat()
        content = os.readlink(path) if path.is_symlink() else path.read_bytes() if path.is_file() else b""
        found[path] = (status.st_mode, status.st_uid, status.st_ino, content)
    return found


def attack_state():
    with Kind("directories of others") as kind:
        home = SCRATCH / "home"

        def refused(folder, what):
            before = tree(home)
            for host in ("eight-gpu", "one-gpu", str(unreadable), str(missing)):
                for command in (["--", "true"], ["--set", "gpu0.temperature=1"], ["--show-state"]):
                    kind.runs += 1
                    found = run(["--host", host, "--state", folder, *command], dict(os.environ), program=ZANSIM)
                    kind.expect(found.status == 125 and found.err, what, host, command, found)
                    kind.expect(os.fsencode(str(folder).rstrip("/")) in found.err, "no name for", what, found.err)
                    kind.expect(tree(home) == before, what, command, "touched",
                                set(tree(home).items()) ^ set(before.items()))
        unreadable, missing = SCRATCH / "unreadable.json", SCRATCH / "missing.json"
        unreadable.write_text('{"driver_nodes": "unreadable", "gpus": [{}]}')
        missing.write_text('{"driver_nodes": false, "gpus": [{}]}')
        for host in (unreadable, missing):
            found = run(["--check", str(host)], dict(os.environ), program=ZANSIM)
            kind.expect(found.status == 0, found)
        good = SCRATCH / "good"
        run(["--state", good, "--", "true"], dict(os.environ), program=ZANSIM)
        machine_file = next(path for path in good.iterdir() if path.name == "machine").read_bytes()
        chance = random.Random(7)
        for number, names in enumerate((["dev/notes.txt"], ["dev/zanthe0"], ["dev/null"], ["run/zanctl_daemon.pid"], ["log/x"],
                                        ["node_online"], ["processes.1"], [".hidden"], ["settings"], ["machine"], ["machine/x"],
                                        ["machine.new"], ["dev"], ["run"], ["log"],
                                        [f"{chance.random()}" for _ in range(300)])):
            folder = home / f"files{number}"
            for name in names:
                (folder / name).parent.mkdir(parents=True, exist_ok=True)
                (folder / name).write_text("precious")
            refused(folder, names[:3])
        for number, content in enumerate((b"", b"\0", machine_file[:-1], machine_file[:8], machine_file + b"x",
                                          b"x" * len(machine_file), b"\0" * len(machine_file))):
            folder = home / f"machine{number}"
            folder.mkdir(parents=True)
            (folder / "machine").write_bytes(content)
            (folder / "notes.txt").write_text("precious")
            refused(folder, f"machine file {number}")
        victim = home / "victim"
        victim.mkdir()
        for name in ("zanthe0", "null", "notes.txt"):
            (victim / name).write_text("precious")
        for name in ("dev", "run", "log", "machine", "node_online"):
            folder = home / f"link-{name}"
            folder.mkdir()
            (folder / name).symlink_to(victim if name in ("dev", "run", "log") else victim / "notes.txt")
            refused(folder, f"link {name}")
        for mode in (0o777, 0o775, 0o1777, 0o2770):
            folder = home / f"mode{mode:o}"
            folder.mkdir()
            folder.chmod(mode)
            refused(folder, f"mode {mode:o}")
        if os.geteuid() == 0:
            folder = home / "somebody"
            folder.mkdir()
            os.chown(folder, 65534, 65534)
            refused(folder, "somebody else's")
        for folder in ("/", "/dev", "/proc", "/etc", "/tmp", "/proc/self", "/usr/bin", "//", "/./"):
            before = sorted(os.listdir("/")) + sorted(os.listdir("/dev")) + sorted(os.listdir("/etc"))
            kind.runs += 1
            found = run(["--state", folder, "--", "true"], dict(os.environ), program=ZANSIM)
            kind.expect(found.status == 125, folder, found)
            kind.expect(before == sorted(os.listdir("/")) + sorted(os.listdir("/dev")) + sorted(os.listdir("/etc")),
                        folder, "touched")
        # A good machine whose names are turned into links while nobody looks.
        for name in ("dev", "run", "log", "node_online", "settings"):
            folder = SCRATCH / "turned" / name
            folder.mkdir(parents=True)
            run(["--state", folder, "--", "true"], dict(os.environ), program=ZANSIM)
            if (folder / name).exists(): (folder / name).rename(folder / f"{name}.old")
            (folder / name).symlink_to(victim if name in ("dev", "run", "log") else victim / "notes.txt")
            before = tree(home)
            for host in ("one-gpu", str(unreadable), str(missing)):
                for command in (["--", "true"], ["--set", "gpu0.temperature=1"]):
                    kind.runs += 1
                    run(["--host", host, "--state", folder, *command], dict(os.environ), program=ZANSIM)
                    kind.expect(tree(home) == before, "link", name, command, "touched the victim")
    with Kind("odd names of directories") as kind:
        for name in ("a:b", "a b", ":", " ", "a;b", "-x", "a\nb", "%s{}", "\u202e", "a'b\"c", "$HOME", "\\", "x" * 200, "*"):
            for variable in (False, True):
                folder = SCRATCH / "odd" / str(variable) / name
                folder.mkdir(parents=True)
                for host in ("one-gpu", "failing-host", str(lacking())):
                    options = [] if variable else ["--state", folder]
                    environment = {**os.environ, **({"TMPDIR": str(folder)} if variable else {})}
                    found = run(["--host", host, *options, "--uid", "0", "--", ZANCTL, "-L"], environment, program=ZANSIM)
                    kind.runs += 1
                    kind.expect(found.status == 0 and found.out.startswith(b"GPU "), name, host, found)
                kind.expect(not variable or not list(folder.iterdir()), "left in TMPDIR", list(folder.iterdir()))
    with Kind("killed machines") as kind:
        folder = SCRATCH / "killed"
        folder.mkdir()
        for number in range(20):
            environment = {**os.environ, "TMPDIR": str(folder)}
            launcher = subprocess.Popen([ZANSIM, "--host", "eight-gpu", "--", "sh", "-c", "echo $$; exec sleep 60"],
                                        env=environment, stdout=subprocess.PIPE)
            pid = int(launcher.stdout.readline())
            time.sleep(number / 1000)
            launcher.kill()
            launcher.wait()
            kind.runs += 1
            kind.expect(wait_for(lambda: not os.path.exists(f"/proc/{pid}") or "Z (" in pathlib.Path(
                f"/proc/{pid}/status").read_text()), "the command lives on")
            launcher.stdout.close()
        run(["--", "true"], {**os.environ, "TMPDIR": str(folder)}, program=ZANSIM)
        kind.expect(not list(folder.iterdir()), "left behind:", list(folder.iterdir()))
        left = [path for path in pathlib.Path("/proc").glob("[0-9]*/environ") if uses(path, folder)]
        kind.expect(not left, "processes left", left)


def uses(environ, folder):
    try:
        return os.fsencode(f"ZANSIM_STATE={folder}") in environ.read_bytes()
    except OSError:
        return False


def lacking():
    host = SCRATCH / "lacking.json"
    host.write_text('{"gpus": [{}], "missing": ["nvmlDeviceGetName"]}')
    return host
