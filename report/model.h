#pragma once

#include <cstdint>
#include <optional>

#include "base/loaded_modules.h"
#include "base/path.h"
#include "base/pending_list.h"
#include "base/simple_array.h"
#include "base/str.h"
#include "diag/error_list_peek.h"

// What a report shows, section by section, as plain values: gathering fills it, everything else only reads it. An empty
// text stands for what is not there or not known. "unseen" says what could not be looked at and why.
namespace n_report {

template <class T>
using t_list = itl::ImmSimpleArray<T>;
using t_texts = t_list<t_str>;

struct t_system
{
    t_str fileVersion; // of kernel32.dll, by which the installer goes
    t_str kernelVersion;
    t_str documentedVersion;
    bool windows8OrLater = false; // by fileVersion
    bool safeMode = false;
    bool elevated = false;
    t_str integrity; // empty before Vista
    std::uint32_t session = 0;
    t_str user; // who is logged on to the session
    std::uint32_t codePage = 0;
    t_str browser; // path of the default browser
    t_str browserArguments;
    t_str browserSource;
    t_texts hooked; // system functions whose code is not that of their files
    t_texts unseen;
};

// A path and where it came from.
struct t_place
{
    t_path path;
    t_str source;
};

struct t_switch
{
    t_str name;
    std::optional<std::uint32_t> value; // none: not set, which is off
};

// An item of the configuration that has another value than its default.
struct t_setting
{
    t_str section, key, value, initial;
};

struct t_file
{
    t_str name; // without folder
    t_str path;
    bool present = false;
    std::uint64_t bytes = 0;
    t_str version;
    bool genuine = false; // whether it is the maker's own, by signature or digest
    t_str verification;   // why, or why not
};

struct t_product
{
    t_str version; // as registered
    t_str build;
    t_place installPath, dataPath, userPath;
    t_str envFile; // empty when there is none
    t_str envUserPath;
    t_list<t_switch> switches;
    t_str configFile; // empty when there is none
    t_list<t_setting> settings;
    t_list<t_file> files;
    t_pendingOperations pending; // on files of the installation
    t_texts unseen;
};

struct t_module
{
    t_file file;
    t_list<t_program> holders; // programs that have it loaded
    t_pendingOperations pending;
    t_texts unseen;
};

struct t_layout
{
    std::uint32_t klid = 0;
    std::uint64_t handle = 0;
    std::uint16_t langId = 0;
    t_str service, profile; // identifiers of a text service; empty for a plain layout
    t_str imeFile;          // as the catalogue finds it
    t_str keyImeFile;       // as the key of the klid names it
    t_str name;
    t_str server; // of a text service, as registered
    bool serverMissing = false;
    t_texts odd; // values that Windows does not write so
};

struct t_layouts
{
    t_list<t_layout> records;
    t_texts unseen;
};

// An entry of a list of layouts.
struct t_entry
{
    t_str key; // name of the value or key that holds it
    t_str stored;
    std::uint32_t klid = 0; // 0 when what is stored names no layout key
    bool known = false;     // whether a layout stands behind it
    t_str imeFile;
    t_str name;
    t_str odd; // why Windows would not have written it so; empty when it would
};

struct t_hive
{
    t_str name;            // of the key under HKEY_USERS, or "HKEY_CURRENT_USER"
    bool loggedOn = false; // the hive of the user who is logged on
    t_list<t_entry> preload, sortOrder, hidden;
    t_texts unseen;
};

struct t_lists
{
    t_list<t_hive> hives;
    bool defaultUserLoaded = false;
};

struct t_log
{
    t_str path;
    t_texts lines; // the last ones
};

struct t_messages
{
    t_list<t_postedError> unread;
    t_list<t_log> logs;
    t_texts unseen;
};

struct t_finding
{
    const wchar_t* code; // stable name
    t_str what;
    t_str mend; // the action that mends it
};

struct t_report
{
    t_system system;
    t_product product;
    t_list<t_module> modules;
    t_layouts layouts;
    t_lists lists;
    t_messages messages;
    t_list<t_finding> findings;
};

} // namespace n_report
