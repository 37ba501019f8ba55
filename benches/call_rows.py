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
