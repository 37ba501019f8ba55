#!/usr/bin/env python3
"""Wine for the programs of this project: prefixes, sessions, pretended Windows versions, runs and what they changed.

    wine.py session COMMAND…                            runs a command inside a session in the build's own prefix
    wine.py run PROGRAM [ARGUMENTS…]                    runs a Windows program inside the session around it
    wine.py show [--on V] [--reset] PROGRAM [OPTIONS…]  runs the installer and prints what it changed in the registry

    with wine.Session(folder, "7") as session:
        session.reset()
        before = session.export()
        session.run(program, "--install")
        session.correct()
        print(*(text for _, text in wine.difference(before, session.export())), sep="\\n")

The environment variable WINEPREFIX chooses another prefix for the commands.
"""
import argparse
import concurrent.futures
import contextlib
import fcntl
import hashlib
import os
import pathlib
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time

BUILD = pathlib.Path(__file__).resolve().parent.parent / "build"
FIXTURES = BUILD.parent / "tests/fixtures"
VERSIONS = {"xp": "5.2.3790", "vista": "6.0.6002", "7": "6.1.7601", "8": "6.2.9200", "8.1": "6.3.9600",
            "10": "10.0.19045", "11": "10.0.22631"}
LIMIT = 60  # seconds for one run
LAYOUTS = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Keyboard Layouts"
KEYS = (LAYOUTS, r"HKEY_LOCAL_MACHINE\Software\Microsoft\CTF", "HKEY_USERS",
        r"HKEY_LOCAL_MACHINE\Software\Classes\CLSID\{7C2B4E10-5D3A-4F86-9B1C-2E60A4D7F305}")  # TarvoTSF.ime's class

# Debian's places; a copy keeps them, since the loader finds its libraries by their relative places.
USR = pathlib.Path("/usr")
LOADER = "lib/wine/wine64"
SERVER = USR / "lib/wine/wineserver64"
LIBRARIES = "lib/x86_64-linux-gnu/wine"
KERNEL32 = LIBRARIES + "/x86_64-windows/kernel32.dll"
FIXED_FILE_INFO = struct.pack("<II", 0xFEEF04BD, 0x00010000)  # starts every VS_FIXEDFILEINFO


def file_version(module):
    """The version in a module's first version resource, "major.minor.build"."""
    data = module.read_bytes()
    high, low = struct.unpack_from("<II", data, data.index(FIXED_FILE_INFO) + 8)
    return f"{high >> 16}.{high & 0xFFFF}.{low >> 16}"


def with_version(data, version):
    """A module's bytes with another file and product version in its version resources, one for each language."""
    major, minor, build = map(int, version.split("."))
    info = FIXED_FILE_INFO + struct.pack("<4I", *(major << 16 | minor, build << 16) * 2)
    return re.sub(re.escape(FIXED_FILE_INFO) + b".{16}", lambda _: info, data, flags=re.S)


def made(folder, fill):
    """Gives a folder that `fill` makes, once for a version of Wine; callers that come at the same time wait."""
    kernel32 = (USR / KERNEL32).stat()
    stamp = f"{kernel32.st_size} {kernel32.st_mtime_ns}"
    BUILD.mkdir(exist_ok=True)
    with open(BUILD / "wine.lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not (folder / "stamp").exists() or (folder / "stamp").read_text() != stamp:
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(parents=True)
            fill(folder)
            (folder / "stamp").write_text(stamp)
    return folder


def pretending(windows):
    """The root of a Wine whose kernel32.dll has the file version of a Windows version, or of Wine's own for none.

    Programs that look at that file version get it from Wine's library folder. The copy needs no privileges: the loader
    and its Unix libraries are copied, everything else is linked.
    """
    def fill(tree):
        (tree / LOADER).parent.mkdir(parents=True)
        shutil.copy(USR / LOADER, tree / LOADER)
        shutil.copytree(USR / LIBRARIES / "x86_64-unix", tree / LIBRARIES / "x86_64-unix")
        (tree / KERNEL32).parent.mkdir()
        for library in (USR / KERNEL32).parent.iterdir():
            (tree / KERNEL32).with_name(library.name).symlink_to(library)
        (tree / KERNEL32).unlink()
        (tree / KERNEL32).write_bytes(with_version((USR / KERNEL32).read_bytes(), VERSIONS[windows]))
        (tree / "share").mkdir()
        (tree / "share/wine").symlink_to(USR / "share/wine")
    return made(BUILD / "windows" / windows, fill) if windows else USR


def environment(folder, root=USR, locale="zh_CN.UTF-8", display=""):
    """What a program needs to run in a prefix. Without a display no window waits for a click."""
    return {**os.environ, "WINEPREFIX": str(folder), "WINEARCH": "win64", "WINELOADER": str(root / LOADER),
            "WINESERVER": str(SERVER), "WINEDEBUG": os.environ.get("WINEDEBUG", "-all"), "LC_ALL": locale,
            "DISPLAY": display}


def make_prefix(folder):
    """Makes a prefix: a copy of one that nothing ran in. Wine's own modules, 700 MB, are linked: nobody writes them."""
    def fill(template):
        print("Making the Wine prefix …", flush=True)
        subprocess.run([USR / LOADER, "wineboot", "-i"], env=environment(template), check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        subprocess.run([SERVER, "-w"], env=environment(template))
    template = made(BUILD / "wine-template", fill)
    modules = str(template / "drive_c/windows")
    shutil.copytree(template, folder, symlinks=True, copy_function=lambda source, target: (
        os.link if source.startswith(modules) else shutil.copy2)(source, target))


class Session:
    """A Wine server in a prefix, from the first program to the last, for use in a `with` statement.

    So starts are quick, and keys that Wine keeps in memory only (HKEY_USERS beyond the user and .DEFAULT) last as long.
    The prefix is made when it is missing, and gets the two modules and registry_dump.exe of the build in its system
    directory. Its registry is the fixture's, that of a machine without the product, laid down once and after a change
    of the fixture.

    folder   the prefix
    windows  the version to pretend, a key of VERSIONS, or none for Wine's own
    build    the build folder that the modules come from
    reset    lays the fixture down again
    fresh    makes the prefix anew
    locale, display  as for `environment`
    """

    def __init__(self, folder=BUILD / "prefix", windows=None, build=BUILD / "release", reset=False, fresh=False,
                 **options):
        root = pretending(windows)
        self.folder = pathlib.Path(folder).absolute()
        self.system = self.folder / "drive_c/windows/system32"
        self.windows, self.version = windows, file_version(root / KERNEL32)
        self.environment = environment(self.folder, root, **options)
        self.modules, self.wants_reset, self.fresh = build / "tests/modules", reset, fresh

    def __enter__(self):
        if self.folder.exists():
            self.stop()  # a server left over may have been started as another Windows version
        if self.fresh:
            shutil.rmtree(self.folder, ignore_errors=True)
        if not (self.folder / "system.reg").exists():
            make_prefix(self.folder)
        for module in "TarvoPY.ime", "TarvoTSF.ime", "registry_dump.exe":
            shutil.copy2(self.modules / module, self.system / module)
        subprocess.run([SERVER, "-p"], env=self.environment, check=True, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)  # it would keep our output pipes open
        with contextlib.ExitStack() as stack:
            stack.callback(self.stop)
            major_minor, build = self.version.rsplit(".", 1)
            self.register('[HKEY_CURRENT_USER\\Software\\Wine]\n"Version"=-\n'  # what the version calls answer
                          "[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion]\n"
                          f'"CurrentVersion"="{major_minor}"\n"CurrentBuildNumber"="{build}"\n')
            stamp = hashlib.sha256(b"".join(file.read_bytes() for file in sorted(FIXTURES.iterdir()))).hexdigest()
            laid = self.folder / "fixture"
            if self.wants_reset or not laid.exists() or laid.read_text() != stamp:
                print("Laying down the registry of a machine without the product …", flush=True)
                self.reset()
                laid.write_text(stamp)
            stack.pop_all()
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        """Ends every program of the prefix and its server, which saves the registry."""
        for option in "-k", "-w":  # the first fails when none runs
            subprocess.run([SERVER, option], env=self.environment, stderr=subprocess.DEVNULL)

    def start(self, program, *arguments, environment=None, **options):
        """Starts a program, given by its path of either system, and returns its subprocess.Popen.

        Killing that ends the Windows program at once, as TerminateProcess would. `environment` adds variables; other
        options (cwd, stdout, …) are Popen's.
        """
        return subprocess.Popen([self.environment["WINELOADER"], program, *arguments], stdin=subprocess.DEVNULL,
                                env={**self.environment, **(environment or {})}, **options)

    def run_all(self, commands, limit=LIMIT, **options):
        """Runs programs at once, each a sequence of program and arguments, and the regsvr32.exe they start, to the end.

        Returns a subprocess.CompletedProcess for each, its output in `stdout`. After `limit` seconds what still runs is
        killed and subprocess.TimeoutExpired raised.
        """
        end = time.monotonic() + limit
        with contextlib.ExitStack() as stack:
            started = []
            for command in commands:
                output = stack.enter_context(tempfile.TemporaryFile())  # Wine's services would hold a pipe open
                process = stack.enter_context(self.start(*command, stdout=output, stderr=output, **options))
                stack.callback(process.kill)
                started.append((process, output))
            for process, _ in started:
                process.wait(max(0, end - time.monotonic()))
            while any(self.processes("regsvr32.exe")):
                if time.monotonic() > end:
                    raise subprocess.TimeoutExpired("regsvr32.exe", limit)
                time.sleep(0.01)
            return [subprocess.CompletedProcess(process.args, process.returncode, os.pread(
                output.fileno(), os.fstat(output.fileno()).st_size, 0).decode("utf-8", "replace"))
                    for process, output in started]

    def run(self, *command, **options):
        """Runs one program as `run_all` does."""
        return self.run_all([command], **options)[0]

    def processes(self, name):
        """Yields the numbers of this prefix's processes whose command line holds a name."""
        mark = b"WINEPREFIX=" + os.fsencode(self.folder) + b"\0"
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):  # it ended meanwhile
                if name.encode() in (process / "cmdline").read_bytes() and mark in (process / "environ").read_bytes():
                    yield int(process.name)

    def register(self, text):
        """Merges registry text, as regedit reads it but for the first line, into the registry."""
        (self.folder / "import.reg").write_text("Windows Registry Editor Version 5.00\n\n" + text, "utf-16")
        self.run(r"C:\windows\regedit.exe", "/S", "import.reg", cwd=self.folder)

    def reset(self, overlay=""):
        """Lays down the fixture, and registry text over it."""
        for profile in "default", "Default User":  # since Vista, and before
            hive = self.folder / "drive_c/users" / profile / "NTUSER.DAT"
            hive.parent.mkdir(exist_ok=True)
            shutil.copy(FIXTURES / "default_user.hive", hive)
        self.register((FIXTURES / "machine.reg").read_text("utf-8").partition("\n")[2] + "\n" + overlay)

    def export(self, *keys):
        """The text of registry keys and all below them; without keys, of all that the product may touch.

        The user's own key under HKEY_USERS is called HKEY_CURRENT_USER; what Wine keeps there for itself is left out. A
        key that does not exist adds nothing.
        """
        for _ in range(3):  # under load Wine failed to start a program once in a thousand times
            dump = self.run(r"C:\windows\system32\registry_dump.exe", *(keys or KEYS))
            if dump.returncode == 0 and dump.stdout:
                break
        else:
            raise RuntimeError(f"registry_dump.exe ended with {dump.returncode}: {dump.stdout}")
        text = dump.stdout.replace("\r", "")
        text = re.sub(r"(?m)^\[HKEY_USERS\\S-1-5-21-[\d-]+", "[HKEY_CURRENT_USER", text)
        return re.sub(r"(?m)^\[HKEY_CURRENT_USER\\Software\\Wine[]\\].*\n([^[].*\n)*", "", text)

    def correct(self):
        """Writes what Windows would have written where Wine differs, and returns a remark for each value.

        Wine's ImmInstallIMEW stores the module's full path where Windows stores its file name, by which the product
        later finds its layout. The program knows nothing of it.
        """
        keys = [key for key, values in parse(self.export(LAYOUTS)).values()
                if values.get('"ime file"', ("", ""))[1].lower().endswith('\\tarvopy.ime"')]
        if keys:
            self.register("".join(f'[{key}]\n"Ime File"="TarvoPY.ime"\n' for key in keys))
        return [f'Corrected for Wine: "Ime File" of {key[-8:]} is the file name, as Windows stores it.' for key in keys]

    def show(self, program, *options):
        """Runs the installer and yields a report for a person, each line with its sign as `difference` does.

        At its end stand the findings of the report program, which lies beside the installer. The report program itself
        is only run.
        """
        reporter = pathlib.Path(program).with_name("TarvoReport.exe")
        if pathlib.Path(program) == reporter:
            yield from ((" ", line) for line in self.run(program, *options).stdout.splitlines())
            return
        run = " ".join([pathlib.Path(program).name, *options])
        yield " ", f"Running {run} on Windows {self.version} (the file version of kernel32.dll) …"
        before = self.export()
        done = self.run(program, *options)
        corrections = self.correct()
        yield from ((" ", line) for line in done.stdout.splitlines() + corrections)
        yield " ", f"Exit status: {done.returncode}"
        changed = False
        for changed in difference(before, self.export()):
            yield changed
        if not changed:
            yield " ", "Nothing changed in the registry."
        _, _, findings = self.run(reporter).stdout.partition("\nFindings: ")
        yield from ((" ", line) for line in f"Findings of {reporter.name}: {findings}".splitlines())


def parse(text):
    """An export as {lower-case key: (key, {lower-case value name: (name, data, [mark])})}: case is no difference."""
    keys, values = {}, {}
    for line in text.split("\n")[:-1]:
        if line.startswith("["):
            values = keys.setdefault(line[1:-1].lower(), (line[1:-1], {}))[1]
        else:
            name, data, *mark = line.split("\t")
            values[name.lower()] = ("(default)" if name == '""' else name, data, mark)
    return keys


def difference(before, after):
    """Yields what differs between two exports as (sign, line), the sign +, - or ~ for added, removed and changed.

    Keys come in alphabetical order, each with its values.
    """
    before, after = parse(before), parse(after)
    for key in sorted(before.keys() | after.keys()):
        old_name, old = before.get(key, (None, {}))
        new_name, new = after.get(key, (None, {}))
        lines = []
        for value in sorted(old.keys() | new.keys()):
            was, now = old.get(value), new.get(value)
            if was is None:
                lines.append(("+", f"    + {now[0]} = {now[1]}"))
            elif now is None:
                lines.append(("-", f"    - {was[0]} = {was[1]}"))
            elif was[1] != now[1]:
                lines.append(("~", f"    ~ {now[0]} = {was[1]} → {now[1]}"))
            elif was[2] != now[2]:
                lines.append(("~", f"    ~ {now[0]} = {now[1]} "
                                   f"(rewritten {'without' if now[2] else 'with'} terminator)"))
        sign, remark = ("+", "  (new key)") if old_name is None else \
            ("-", "  (key removed)") if new_name is None else ("~", "")
        # A key that came or went together with one below it goes without saying.
        others = before if new_name is None else after
        if lines or remark and not any(other.startswith(key + "\\") for other in others):
            yield sign, f"{sign} {new_name or old_name}{remark}"
            yield from lines


def on_every_processor(function, items):
    """Calls a function for every item, as many at once as there are processors, and gives the results in order.

    Each call has one processor for its programs: they wait for every answer of Wine's server, and that is many times
    faster than waking another.
    """
    processors = list(os.sched_getaffinity(0))
    with concurrent.futures.ThreadPoolExecutor(
            len(processors), initializer=lambda: os.sched_setaffinity(0, {processors.pop()})) as pool:
        return list(pool.map(function, items))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(dest="action", required=True)
    for action in "session", "run", "show":
        command = commands.add_parser(action)
        if action == "show":
            command.add_argument("--on", choices=VERSIONS)
            command.add_argument("--reset", action="store_true")
        command.add_argument("command", nargs=argparse.REMAINDER)
    args = parser.parse_args()
    prefix = os.environ.get("WINEPREFIX", str(BUILD / "prefix"))
    signal.signal(signal.SIGTERM, lambda number, _: sys.exit(128 + number))  # the session is closed then too
    processors = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {max(processors)})  # the one of the session's server, as on_every_processor says
    if args.action == "run":
        os.execve(USR / LOADER, [LOADER, *args.command], environment(prefix))
    if args.action == "session":
        with Session(prefix):
            os.sched_setaffinity(0, processors)
            # The locale goes to Wine alone: it is installed nowhere, and a shell that is given it complains.
            return subprocess.run(args.command, env={**os.environ, "WINEPREFIX": prefix}).returncode
    colours = {"+": "\033[32m", "-": "\033[31m", "~": "\033[33m"}
    with Session(prefix, args.on, reset=args.reset) as session:
        for sign, line in session.show(*args.command):
            paint = sign in colours and sys.stdout.isatty() and not os.environ.get("NO_COLOR")
            print(f"{colours[sign]}{line}\033[0m" if paint else line, flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
