"""The rows of the actions: what one takes beside the calls it cannot do without, a batch file and an NSIS script."""
import contextlib
import pathlib
import statistics
import subprocess
import threading
import time

import wine
from bench_table import RELEASE, Row

PROGRAM = RELEASE / "TarvoLayout.exe"
EMPTY = RELEASE / "benches/empty.exe"
MOST_BYTES = 220_000
SEQUENCES = wine.BUILD.parent / "tests/end_to_end_sequences"
TSF = "{7C2B4E10-5D3A-4F86-9B1C-2E60A4D7F305}"
ACTIONS = {"11": ("install", "uninstall"), "7": ("install", "uninstall", "debug")}
LONG = {"HKLM": "HKEY_LOCAL_MACHINE", "HKCU": "HKEY_CURRENT_USER", "HKU": "HKEY_USERS"}


def edits(before, after):
    """What leads from one export to another, as (key, value name, data): no name stands for the whole key, no data for
    what is taken away."""
    before, after = wine.parse(before), wine.parse(after)
    for key in sorted(before.keys() | after.keys()):
        old_name, old = before.get(key, (None, {}))
        new_name, new = after.get(key, (None, {}))
        if new_name is None:
            yield old_name, None, None
        else:
            if old_name is None and not new:
                yield new_name, None, ""
            for value in sorted(old.keys() | new.keys()):
                if value not in new:
                    yield new_name, old[value][0].strip('"'), None
                elif value not in old or old[value][1:] != new[value][1:]:
                    yield new_name, new[value][0].strip('"'), new[value][1]


def registry_text(all_edits):
    """Edits as regedit reads them."""
    lines = []
    for key, name, data in all_edits:
        if name is None:
            lines.append(f"[{'-' if data is None else ''}{key}]")
            continue
        shown = "@" if name == "(default)" else f'"{name}"'
        escaped = "-" if data is None else data.replace("\\", "\\\\") if data.startswith('"') else f"dword:{data[2:]}"
        lines += [f"[{key}]", f"{shown}={escaped}"]
    return "\n".join(lines) + "\n"


def batch_file(all_edits, registration):
    lines = ["@echo off"]
    for key, name, data in all_edits:
        value = "" if name is None else "/ve" if name == "(default)" else f'/v "{name}"'
        if data is None:
            lines.append(f'reg delete "{key}" {value} /f')
        else:
            kind = "/t REG_DWORD" if data.startswith("0x") else ""
            lines.append(f'reg add "{key}" {value} {kind} /f' + (f" /d {data}" if name is not None else ""))
    lines += [f'start "" regsvr32 {registration}'] if registration else []
    return "".join(line + "\r\n" for line in lines)


def nsis_script(all_edits, registration, output):
    """The same as a silent program of NSIS, which neither unpacks nor checks anything."""
    lines = ["Unicode true", "Target amd64-unicode", "CRCCheck off", "SetCompress off", "SilentInstall silent",
             "RequestExecutionLevel user", 'Name "bench"', f'OutFile "{output}"', "Section"]
    for key, name, data in all_edits:
        root, _, path = key.partition("\\")
        root = next(short for short, long in LONG.items() if long == root.upper())
        if name is None:
            lines.append(f'DeleteRegKey {root} "{path}"' if data is None else f'WriteRegStr {root} "{path}" "" ""')
            continue
        name = "" if name == "(default)" else name
        if data is None:
            lines.append(f'DeleteRegValue {root} "{path}" "{name}"')
        elif data.startswith("0x"):
            lines.append(f'WriteRegDWORD {root} "{path}" "{name}" {data}')
        else:
            lines.append(f'WriteRegStr {root} "{path}" "{name}" {data}')
    lines += [f"Exec '$SYSDIR\\regsvr32.exe {registration}'"] if registration else []
    return "\n".join(lines + ["SectionEnd", ""])


def seconds(session, command):
    """How long a program takes to end. What it starts and does not wait for is no part of it, but ends before this."""
    begin = time.perf_counter()
    process = session.start(*command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    watch = threading.Timer(wine.LIMIT, process.kill)
    watch.start()
    process.wait()  # a limit given to it would make it look now and then only
    taken = time.perf_counter() - begin
    watch.cancel()
    while any(session.processes("regsvr32.exe")):
        time.sleep(0.005)
    return taken


def peers(session, version, action, folder):
    """Runs an action once; gives the registry text that takes its changes back and the commands to be compared."""
    before = session.export()
    session.run(PROGRAM, f"--{action}")
    after = session.export()
    session.correct()
    undo = registry_text(edits(session.export(), before))
    session.register(undo)
    if session.export() != before:
        raise RuntimeError(f"the changes of {action} on {version} cannot be taken back")
    own = [edit for edit in edits(before, after) if TSF not in edit[0].upper()]
    registration = "" if version == "7" else r"/s C:\windows\system32\TarvoTSF.ime" if action == "install" else \
        r"/s /u C:\windows\system32\TarvoTSF.ime"
    folder.mkdir(parents=True, exist_ok=True)
    batch, script = folder / f"{action}.cmd", folder / f"{action}.nsi"
    batch.write_bytes(batch_file(own, registration).encode("gbk"))
    script.write_text(nsis_script(own, registration, script.with_suffix(".exe")), "utf-8-sig")
    subprocess.run(["makensis", "-V1", script], check=True)
    commands = {
        "product": (PROGRAM, f"--{action}"),
        "floor": (RELEASE / "benches/floor_action.exe", f"{action}_{version}"),
        "batch file": (r"C:\windows\system32\cmd.exe", "/c", f"Z:{batch}".replace("/", "\\")),
        "NSIS": (script.with_suffix(".exe"),),
    }
    for name in "batch file", "NSIS":
        session.run(*commands[name])
        if list(edits(after, session.export())):
            raise RuntimeError(f"the {name} does not do what {action} on {version} does")
        session.register(undo)
    return undo, commands


def measure(session, undo, commands, rounds):
    """The median milliseconds of each command, which run in turn and each on the same registry."""
    taken = {name: [] for name in commands}
    for _ in range(rounds):
        for name, command in commands.items():
            taken[name].append(seconds(session, command))
            session.register(undo)
    return {name: statistics.median(values) * 1000 for name, values in taken.items()}


def rows(rounds, wanted):
    for version, all_actions in ACTIONS.items():
        actions = [action for action in all_actions if wanted(f"{action} on {version}")]
        if not actions:
            continue
        folder = wine.BUILD / "bench" / version
        with wine.Session(folder / "prefix", version) as session:
            # On 11 the classic layouts of an earlier installation are there, so each step has something to do.
            session.reset((SEQUENCES / "text_service.reg").read_text("utf-8") if version == "11" else "")
            for action in actions:
                row = f"{action} on {version}"
                if action != "install":
                    session.run(PROGRAM, "--install")
                    session.correct()
                undo, commands = peers(session, version, action, folder)
                median = measure(session, undo, commands, rounds)
                mine = median["product"]
                for name, aim in ("floor", 1.15), ("batch file", 1.0), ("NSIS", 1.0):
                    beside = {"floor": "the calls it cannot avoid", "NSIS": "NSIS script"}.get(name, name)
                    yield Row(row, beside, mine / median[name], aim, f"{mine:.1f} ms to {median[name]:.1f} ms")


def peak(session, program, *options):
    """The largest working set of a run, in KiB, as Linux last had it before the end."""
    most = 0
    with session.start(program, *options, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        status = pathlib.Path(f"/proc/{process.pid}/status")
        while process.poll() is None:
            with contextlib.suppress(OSError, StopIteration):
                lines = status.read_text().splitlines()
                most = next(int(line.split()[1]) for line in lines if line.startswith("VmHWM"))
            time.sleep(0.001)
    return most


def size_rows(rounds, wanted):
    size, least = PROGRAM.stat().st_size, EMPTY.stat().st_size
    if wanted("size"):
        yield Row("size", "an empty program", size / least, MOST_BYTES / least, f"{size:,} to {least:,} bytes")
    for version in ACTIONS:
        row = f"peak memory of install on {version}"
        if not wanted(row):
            continue
        with wine.Session(wine.BUILD / "bench" / version / "prefix", version) as session:
            peaks = {program: [] for program in ((PROGRAM, "--install"), (EMPTY,))}
            for _ in range(rounds):
                for command, values in peaks.items():
                    values.append(peak(session, *command))
            mine, least = (statistics.median(values) for values in peaks.values())
            yield Row(row, "an empty program", mine / least, None,
                      f"{mine:,.0f} to {least:,.0f} KiB, system libraries included")
