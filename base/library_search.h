#pragma once

// Takes the current folder, and where the system can the program's own too, out of every later search for a library by
// its bare name: the shell, COM and the trust provider load such, and their code would run elevated. What the program
// itself imports was loaded before.
// The program's own folder stays the first place on systems before Windows 8 that lack update KB2533623, XP x64 among
// them. Behind it: SetDllDirectoryW, SetDefaultDllDirectories.
void RestrictLibrarySearch();
