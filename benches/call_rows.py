"""The rows of the system calls: how many each action makes, beside the fewest that its steps allow."""
import collections
import re

import wine
from action_rows import ACTIONS, EMPTY, PROGRAM, SEQUENCES
from bench_table import Row

LAYOUTS, PROFILES = 250, 30


def machine(version):
    """Registry text that fills the fixture up to the numbers above."""
    lines = [(SEQUENCES / "text_service.reg").read_text("utf-8") if version == "11" else ""]
    present = 7 if version == "11" else 5
    for i in range(LAYOUTS - present):  # one in ten is an input method, one in five of these Chinese
        klid = 0xE1000404 + (i << 16) + (0x400 if i % 50 == 0 else 0) if i % 10 == 0 else 0x00000C01 + i
        lines += [f"[{wine.LAYOUTS}\\{klid:08X}]", f'"Layout Text"="layout {i}"', '"Layout File"="kbdus.dll"']
        lines += [f'"Ime File"="DEMO{i}.IME"'] if i % 10 == 0 else []
    for i in range(1, PROFILES):
        service = f"{{{i:08X}-0000-0000-0000-000000000001}}"
        lines += [f"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\CTF\\TIP\\{service}\\LanguageProfile\\0x00000804"
                  f"\\{{{i:08X}-0000-0000-0000-000000000002}}]", '"Description"="profile"', '"Enable"=dword:00000001',
                  f"[HKEY_CLASSES_ROOT\\CLSID\\{service}\\InProcServer32]", f'@="C:\\\\service{i}.dll"']
    return "\n".join(lines) + "\n"


def calls(session, program, *options):
    """The functions of system libraries that a program's own code calls, each as often as it is called."""
    trace = session.run(program, *options, environment={"WINEDEBUG": "+relay"}).stdout
    return collections.Counter(name for library, name in re.findall(
        r"Call (\w+)\.(\w+)\(.*ret=14[0-9a-f]{7}$", trace, re.M) if library not in ("msvcrt", "ucrtbase"))


def repeated(made, count):
    return collections.Counter({name: number * count for name, number in made.items()})


def times(text, count=1):
    """Calls by their names, each once or, as "NAME*N", N times; all of them `count` times."""
    made = collections.Counter()
    for name, _, number in (word.partition("*") for word in text.split()):
        made[name] += int(number or 1)
    return repeated(made, count)


# What the compiler's thread library calls on its own: for debuggers at the start, and for the first lock of a thread.
# It is linked into every program with exceptions.
RUN_TIME_LIBRARY = times("RtlAddVectoredExceptionHandler TlsAlloc CreateEventA DuplicateHandle GetThreadPriority")

# A key that is opened where nobody may have planted a link names itself and its parent. A predefined key does not know
# its name: a second handle to it does.
UNLINKED = times("RegOpenKeyExW NtQueryKey*2 RegCloseKey")
UNLINKED_BELOW_PREDEFINED = UNLINKED + times("RegCreateKeyExW RegCloseKey")
MADE = times("RegCreateKeyExW NtQueryKey*2 RegCloseKey")
READ_ONE_VALUE = times("RegOpenKeyExW RegQueryValueExW RegCloseKey")
COUNTED = times("RegOpenKeyExW RegQueryInfoKeyW RegCloseKey")
VERSION = times("GetSystemDirectoryW GetFileVersionInfoSizeW GetFileVersionInfoW VerQueryValueW")

ENTRY = times("SetDllDirectoryW GetModuleHandleW GetProcAddress SetDefaultDllDirectories GetCommandLineW "
              "CommandLineToArgvW LocalFree ImmDisableIME")
ACTION_LOCK = times("ConvertStringSecurityDescriptorToSecurityDescriptorW LocalFree CreateMutexW WaitForSingleObject "
                    "ReleaseMutex CloseHandle")
USERS_HIVE = times("WTSQuerySessionInformationW*2 WTSFreeMemory*2 LookupAccountNameW*2 ConvertSidToStringSidW "
                   "LocalFree RegOpenKeyExW RegCloseKey")
LAUNCH = times(
    "GetSystemDirectoryW "  # the program's and the module's path
    "CreateFileW*4 CloseHandle*4 GetFullPathNameW GetLongPathNameW GetSystemDirectoryW GetModuleHandleW GetProcAddress "
    "GetFinalPathNameByHandleW*2 GetFileInformationByHandle*4 "  # the file, its folder, the system's, the file as link
    "RegOpenKeyExW*4 "  # the user's own classes of programs, which are not there
    "CoInitializeEx ShellExecuteExW CoUninitialize")
UNHIDE = UNLINKED_BELOW_PREDEFINED + times("RegDeleteValueW*2")
PRIVILEGE = times("OpenProcessToken LookupPrivilegeValueW AdjustTokenPrivileges CloseHandle")


def late(*functions):
    """Libraries that are bound late, by the number of functions called of each."""
    return times("GetSystemDirectoryW LoadLibraryExW", len(functions)) + times("GetProcAddress", sum(functions))


def loaded(looked_at):
    return times(f"GetKeyboardLayoutList*2 GlobalAlloc ImmGetIMEFileNameW*{looked_at} GlobalFree")


def chinese_keys(layouts):
    """The first 250 keys, and the values of the Chinese ones among them."""
    chinese = [klid for klid in layouts[:250] if klid.endswith("0804")]
    return COUNTED + times("RegEnumKeyExW", min(len(layouts), 250)) + repeated(READ_ONE_VALUE, len(chinese))


def catalogue(layouts, searched):
    """The list is built from the layouts' keys, and searched up to the file of a layout or, without it, to the end.

    Each service has a language and a profile and, but for the fixture's, a server, known in the native view alone.
    """
    made = times("InitializeCriticalSectionAndSpinCount RtlDeleteCriticalSection")
    made += times("RegOpenKeyExW")  # whether to measure: the key is not there
    made += COUNTED + times("RegEnumKeyW", len(layouts))
    imes = [klid for klid in layouts if klid.startswith("e")]
    candidates = [klid for klid in imes if klid.endswith("0804")]
    made += repeated(READ_ONE_VALUE, len(imes))
    made += repeated(READ_ONE_VALUE, candidates.index(searched) + 1 if searched else len(candidates))
    services = COUNTED + times("RegEnumKeyW", PROFILES)
    # Languages; profiles; a profile's number of values and its substitute.
    services += repeated(COUNTED + COUNTED + times("RegEnumKeyW*2") + COUNTED + times("RegQueryValueExW"), PROFILES)
    services += repeated(times("RegOpenKeyExW") + READ_ONE_VALUE, PROFILES - 1)
    return made + services + times("RegOpenKeyExW*4")  # the one without a server, under two names in two views


def removal(entries, predefined=False):
    """From a preload list of so many entries: one reading more finds its end. The rewriting opens it again."""
    below_root = UNLINKED_BELOW_PREDEFINED if predefined else UNLINKED
    read = below_root + times("RegEnumValueW", entries + 1)
    return read + below_root + UNLINKED + times("RegDeleteKeyW") + MADE + times("RegSetValueExW", entries - 1)


def adding(entries, items):
    """To a preload list and to a sort order."""
    order = VERSION + UNLINKED + UNLINKED + times("RegEnumKeyW RegQueryInfoKeyW") + repeated(READ_ONE_VALUE, items)
    order += MADE + times("RegSetValueExW*3")
    list_ = UNLINKED + UNLINKED + times("RegEnumValueW", entries + 1) + times("RegDeleteKeyW RegFlushKey*2")
    return order + list_ + MADE + times("RegSetValueExW", entries + 1)


def fewest(version, action, layouts, loaded_layouts, found):
    """The calls of an action's steps on the machine above.

    layouts         the KLIDs of the keys in the order of enumeration
    loaded_layouts  how many layouts the session has, as Wine lists them
    found           how many of these come up to the product's
    """
    made = ENTRY + ACTION_LOCK
    removed = loaded(found) + times("UnloadKeyboardLayout GetLastError RegDeleteKeyW") + USERS_HIVE
    if (version, action) == ("11", "install"):  # the first of two classic layouts is removed, then the second is found
        rest = [klid for klid in layouts if klid != "e0220804"]
        return made + late(1 + 1, 3, 2) + VERSION + VERSION + removed + removal(4) + LAUNCH + \
            catalogue(rest, "e0230804") + UNHIDE
    if (version, action) == ("11", "uninstall"):
        return made + late(1 + 1, 3, 2) + VERSION + loaded(loaded_layouts) + chinese_keys(layouts) + LAUNCH + \
            catalogue(layouts, "e0220804") + UNHIDE + removed + removal(4)
    if action == "debug":
        return made + late(1 + 1) + loaded(found) + removal(4, predefined=True)
    if action == "uninstall":
        return made + late(1 + 1, 3, 2) + VERSION + removed + removal(4)
    made += late(1 + 1, 3, 2) + VERSION + VERSION + times("GetSystemDirectoryW") + catalogue(layouts, None)
    made += times("ImmInstallIMEW") + USERS_HIVE + adding(3, 1)
    made += times("SHGetSpecialFolderPathW GetFileAttributesW RegLoadKeyW RegUnLoadKeyW RegOpenKeyW RegCloseKey")
    made += VERSION + repeated(PRIVILEGE, 4) + adding(1, 1)
    made += chinese_keys(sorted(layouts + ["e0020804"])) + adding(2, 2)  # one companion
    # ".DEFAULT" and the accounts, of which S-1-5-19 has no list.
    return made + times("RegOpenKeyExW RegCloseKey", 4) + removal(3) + removal(2) + times("RegOpenKeyExW") + removal(1)


def rows(wanted):
    for version, all_actions in ACTIONS.items():
        actions = [action for action in all_actions if wanted(f"system calls of {action} on {version}")]
        if not actions:
            continue
        with wine.Session(wine.BUILD / "bench/calls" / version, version) as session:
            session.register('[HKEY_CURRENT_USER\\Software\\Wine\\Debug]\n"RelayFromExclude"=-\n'
                             f'"RelayFromInclude"="{PROGRAM.name};{EMPTY.name}"\n')
            runtime = calls(session, EMPTY)
            for action in actions:
                tries = []
                for _ in range(3 if (version, action) == ("11", "install") else 1):
                    session.reset(machine(version))
                    if version == "7" and action != "install":
                        session.run(PROGRAM, "--install")
                        session.correct()
                    keys = [key[-8:] for key in wine.parse(session.export(wine.LAYOUTS)) if key[-9] == "\\"]
                    tries.append(calls(session, PROGRAM, f"--{action}") - runtime)
                # regsvr32.exe works beside the action: what it has registered by then is one profile more to read.
                made = min(tries, key=collections.Counter.total)
                loaded_layouts = len([klid for klid in keys if klid[0] == "e"])  # as Wine lists them
                found = made["ImmGetIMEFileNameW"]
                if (version, action) == ("11", "uninstall"):
                    found -= loaded_layouts
                least = fewest(version, action, keys, loaded_layouts, found)
                remark = ", ".join(f"{sign}{count} {name}" for sign, difference in (
                    ("+", made - least - RUN_TIME_LIBRARY), ("-", least - made))
                    for name, count in sorted(difference.items()))
                inherited = (made & RUN_TIME_LIBRARY).total()
                yield Row(f"system calls of {action} on {version}", "the fewest",
                          (made.total() - inherited) / least.total(), 1.0,
                          f"{made.total() - inherited} to {least.total()}{': ' + remark if remark else ''}; and "
                          f"{inherited} of the compiler's thread library")
