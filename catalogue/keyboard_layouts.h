#pragma once

#include "base/str.h"
#include "catalogue/hkl_collector.h"
#include "catalogue/ime_file_maps.h"
#include "diag/error_chain.h"

// The keyboard-layout keys of the machine, one a layout, named by its identifier. All are read in the 32-bit view.
inline constexpr wchar_t kKeyboardLayoutsKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Keyboard Layouts";

// Message of a list of layouts or text services that cannot be read.
inline constexpr wchar_t kListFailed[] = L"获取安装输入法列表失败";

// Adds a record for every layout key to the list, and enters the IME layouts with their files in the maps. A key whose
// name is not hexadecimal adds nothing. An IME layout without a readable "Ime File" clears the chain.
// Fails with kListFailed when the layouts cannot be opened or counted.
bool EnumKeyboardLayouts(t_errorChain& errors, t_imeFileMaps& maps, t_hklCollector& list);

// Reads the file name of an IME layout from its key.
//   name  receives the name; empty on failure
// On failure, which an identifier of 0 is too, appends "获取t_hkl文件错误, klid=" with the identifier in decimal.
bool GetImeFileNameByKlid(t_errorChain& errors, t_str& name, std::uint32_t klid);

// Makes the key of a new IME layout for Chinese (PRC).
//   klid         receives the new identifier; unchanged on failure
//   imeFilePath  the IME's file, with or without directory; only its name is stored; not null
//   layoutText   name of the layout; not null
// The identifier's number follows the highest one of the form E0nnxxxx, starting from E0010804; that after E0FFxxxx is
// E1000804, which is not of that form: a second one made there takes the same key again.
// On failure appends "安装输入法失败".
bool CreateImeLayoutKey(t_errorChain& errors, std::uint32_t& klid, const wchar_t* imeFilePath,
                        const wchar_t* layoutText);
