#include "base/reg.h"

#include <aclapi.h>
#include <sddl.h>

#include "tests/windows_test.h"

namespace {

struct Reg : testing::Test
{
    // Opens a key of the current user for writing, creating it.
    void OpenKey(t_reg& key, const wchar_t* name) { ASSERT_TRUE(key.Open(errors, name, true, true, true)); }

    t_scratchRegistry scratch;
    t_errorChain errors;
    t_reg user{HKEY_CURRENT_USER};
};

TEST_F(Reg, AccessMasksAndOptions)
{
    t_str asked;
    bool createdNew = false, exists = true;
    const auto make = [] { return t_reg(HKEY_CURRENT_USER); };
    REPLACE(open, RegOpenKeyExW, [&](auto... all) {
        asked.AppendFormat(L"open %x, ", std::get<3>(std::tuple(all...)));
        return open.Original(all...);
    });
    REPLACE(create, RegCreateKeyExW, [&](auto... all) {
        asked.AppendFormat(L"create %x %x, ", std::get<4>(std::tuple(all...)), std::get<5>(std::tuple(all...)));
        return create.Original(all...);
    });
    EXPECT_TRUE(make().Create(errors, L"v", t_reg::kCreateWritable | t_reg::kCreateVolatile, nullptr));
    for (const bool isFirst : {true, false}) {
        EXPECT_TRUE(make().Create(errors, L"a", 0, &createdNew));
        EXPECT_EQ(isFirst, createdNew);
    }
    for (const auto& [writes, creates] : {std::pair{false, false}, {true, true}, {true, false}}) {
        EXPECT_TRUE(make().Open(errors, L"a", writes, creates, false));
    }
    EXPECT_TRUE(user.Open(errors, nullptr, false, false, true));
    EXPECT_TRUE(user.SubKeyExists(errors, L"none", &exists));
    EXPECT_FALSE(exists);
    EXPECT_EQ(
        L"create 1 f023f, create 0 20219, create 0 20219, open 20019, create 0 f003f, open f003f, create 0 20219, "
        L"open 20219, ",
        asked);
}

TEST_F(Reg, EveryFailureIsDescribedAndChangesNothing)
{
    t_reg machine(HKEY_LOCAL_MACHINE), closed(user);
    std::int32_t number = 7;
    t_str text = L"old";
    DWORD count = 7, type = 7;
    OpenKey(user, L"k");
    ASSERT_TRUE(user.WriteString(errors, L"abc", L"s"));
    ASSERT_TRUE(user.WriteInt(errors, std::int32_t{1}, nullptr));
    t_reg child(user);
    OpenKey(child, L"");
    const HKEY before = child.Handle();
    REPLACE(create, RegCreateKeyExW, [](auto...) { return ERROR_ACCESS_DENIED; });
    const std::pair<std::wstring, bool> rows[] = {
        {L"系统错误2|打开注册表项失败：MACHINE\\A", machine.Open(errors, L"A", false, false, true)},
        {L"系统错误2|打开注册表项失败：MACHINE\\A\\B", machine.Open(errors, L"B", true, false, true)},
        {L"系统错误2|读注册表失败：CURRENT_USER\\k\\none", user.ReadInt(errors, number, L"none")},
        {L"系统错误0|注册表键值类型不匹配：CURRENT_USER\\k\\s", user.ReadInt(errors, number, L"s")},
        {L"注册表键值类型不匹配：CURRENT_USER\\k", user.ReadString(errors, text, 9, nullptr)},
        {L"注册表键值类型不匹配：CURRENT_USER\\k", user.GetDefaultExpandString(errors, text)},
        {L"系统错误234|读注册表失败：CURRENT_USER\\k\\s", user.ReadString(errors, text, 2, L"s")},
        {L"系统错误6|设置注册表键值失败：CURRENT_USER\\<<v>>", closed.WriteString(errors, L"x", L"v")},
        {L"系统错误6|删除注册表键值失败：CURRENT_USER\\<<v>>", closed.DeleteValue(errors, L"v")},
        {L"系统错误6|删除注册表项失败：CURRENT_USER", closed.DeleteKey(errors, false, L"v")},
        {L"系统错误6|获取注册表子键数失败：CURRENT_USER", closed.GetSubKeyCount(errors, count)},
        {L"系统错误6|获取注册表值数失败：CURRENT_USER", closed.GetValueCount(errors, count)},
        {L"系统错误259|遍历注册表键值失败：CURRENT_USER\\k", user.EnumKey(errors, text, 0)},
        {L"系统错误259|遍历注册表值失败：CURRENT_USER\\k", user.EnumValue(errors, text, type, 2)},
        {L"非法参数", user.SubKeyExists(errors, L"k", nullptr)},
        {L"系统错误6|打开注册表项失败：CURRENT_USER", closed.DeleteTree(errors, false, L"k")},
        {L"系统错误2|删除注册表项失败：CURRENT_USER\\k", user.DeleteKey(errors, true, L"none")},
        {L"系统错误2|删除注册表项失败, 子键不存在：CURRENT_USER\\k\\none", user.DeleteTree(errors, true, L"none")},
        {L"系统错误5|创建注册表项失败：CURRENT_USER\\k\\A\\B\\A\\B", child.Create(errors, L"A\\B", 0, nullptr)},
    };
    std::wstring all;
    for (const auto& [entries, succeeded] : rows) {
        EXPECT_FALSE(succeeded) << entries;
        all += (all.empty() ? L"" : L"|") + entries;
    }
    EXPECT_EQ(all, Entries(errors));
    EXPECT_EQ(std::tuple(7, L"old", 7u, 7u, before), std::tuple(number, text, count, type, child.Handle()));
    EXPECT_FALSE(child.Open(errors, L"none", t_regAccess::unlinked));
    EXPECT_EQ(nullptr, child.Handle());
    EXPECT_FALSE(child.Open(errors, L"", false, false, true));
    EXPECT_EQ(nullptr, child.Handle());
}

TEST_F(Reg, ReadsWhatOthersStored)
{
    OpenKey(user, L"k");
    const std::pair<std::string, const wchar_t*> rows[] = {
        {{"a\0b\0", 4}, L"ab"}, {{"a\0b\0c", 5}, L"ab"}, {{"a\0\0\0b\0\0\0", 8}, L"a"}, {"", L""}, {"x", L""}};
    for (const auto& [bytes, expected] : rows) {
        t_str text = L"old";
        WriteRaw(HKEY_CURRENT_USER, L"k", L"v", REG_SZ, bytes.data(), static_cast<DWORD>(bytes.size()));
        EXPECT_TRUE(user.ReadString(errors, text, 4, L"v"));
        EXPECT_EQ(expected, text);
    }
    std::uint32_t number = 0;
    std::int64_t big = 0;
    WriteRaw(HKEY_CURRENT_USER, L"k", L"short", REG_DWORD, "\x07\x01", 2);
    EXPECT_TRUE(user.ReadInt(errors, number, L"short"));
    EXPECT_TRUE(user.WriteInt(errors, std::int64_t{-5}, L"q"));
    EXPECT_TRUE(user.ReadInt(errors, big, L"q"));
    EXPECT_EQ(std::tuple(0x107u, -5), std::tuple(number, big));
    EXPECT_TRUE(user.WriteString(errors, L"abc", L"s"));
    EXPECT_THAT(DumpKey(HKEY_CURRENT_USER, L"k"), testing::HasSubstr(L"s=1:abc\n")); // no terminator

    char renames[8] = {};
    DWORD size = sizeof(renames);
    EXPECT_TRUE(user.SetPendingRenames(errors, "a\0\0\0\0\0", 6));
    for (char* const buffer : {renames, static_cast<char*>(nullptr)}) {
        EXPECT_TRUE(user.GetPendingRenames(errors, buffer, size));
        EXPECT_EQ(6u, std::exchange(size, 0));
    }

    const std::wstring expand(260, L'%'), guarded = expand + L'.', longName(1022, L'n');
    t_str name;
    DWORD type = 0, values = 0;
    WriteRaw(HKEY_CURRENT_USER, L"e", nullptr, REG_EXPAND_SZ, guarded.data(), 520);
    WriteRaw(HKEY_CURRENT_USER, L"e", longName.c_str(), REG_BINARY, "", 0);
    t_reg other(HKEY_CURRENT_USER);
    OpenKey(other, L"e");
    EXPECT_TRUE(other.GetDefaultExpandString(errors, name));
    EXPECT_EQ(expand, name);
    EXPECT_TRUE(other.GetValueCount(errors, values));
    EXPECT_TRUE(other.EnumValue(errors, name, type, 1));
    EXPECT_EQ(std::tuple(2u, longName, DWORD{REG_BINARY}), std::tuple(values, name, type));
}

TEST_F(Reg, DeletesTreesFromTheFirstChildOn)
{
    for (int leaf = 0; leaf < 6; ++leaf) {
        MakeKey(HKEY_CURRENT_USER, FormatStr(L"k\\t\\%d\\%d", leaf / 2, leaf % 2));
    }
    OpenKey(user, L"k");
    REPLACE(enumerate, RegEnumKeyW, [&](HKEY key, DWORD index, auto name, DWORD size) {
        EXPECT_EQ(std::pair(DWORD{0}, DWORD{1023}), std::pair(index, size));
        return enumerate.Original(key, index, name, size);
    });
    {
        // The number of sub-keys cannot be had: everything said so far is dropped, and the key stays.
        REPLACE(query, RegQueryInfoKeyW, [](auto...) { return ERROR_BUSY; });
        errors.Fail(L"earlier");
        EXPECT_FALSE(user.DeleteTree(errors, true, L"t"));
        EXPECT_EQ(L"系统错误5|删除注册表项失败：CURRENT_USER\\k", Entries(errors));
    }
    EXPECT_TRUE(user.DeleteTree(errors, true, L"t"));
    EXPECT_FALSE(::OpenKey(HKEY_CURRENT_USER, L"k\\t"));
    EXPECT_TRUE(user.DeleteTree(errors, false, L"t"));
    EXPECT_TRUE(user.DeleteKey(errors, false, L"t"));
    SetLastError(ERROR_BUSY);
    EXPECT_TRUE(user.DeleteValue(errors, L"t"));
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
}

TEST_F(Reg, TreeIsNotDeletedThroughALink)
{
    MakeKey(HKEY_CURRENT_USER, L"elsewhere\\child");
    const std::wstring before = DumpKey(HKEY_CURRENT_USER, L"elsewhere");
    OpenKey(user, L"k");
    for (const wchar_t* const target : {L"elsewhere", L"elsewhere\\child"}) { // with and without sub-keys
        for (const auto& [link, refused] :
             {std::pair(L"k\\t", L"CURRENT_USER\\k"), {L"k\\t\\x", L"CURRENT_USER\\k\\t"}}) {
            const t_scratchLink planted(HKEY_CURRENT_USER, link, MakeKey(HKEY_CURRENT_USER, target).Get());
            EXPECT_FALSE(user.DeleteTree(errors, true, L"t"));
            EXPECT_THAT(Entries(errors), testing::EndsWith(std::wstring(L"系统错误1921|打开注册表项失败：") + refused));
            EXPECT_EQ(before, DumpKey(HKEY_CURRENT_USER, L"elsewhere"));
        }
        EXPECT_TRUE(user.DeleteTree(errors, true, L"t"));
    }

    // One that is put in the key's place after the first look.
    MakeKey(HKEY_CURRENT_USER, L"k\\t");
    std::optional<t_scratchLink> planted;
    REPLACE(remove, RegDeleteKeyW, [&](HKEY key, LPCWSTR name) {
        const LSTATUS result = remove.Original(key, name);
        if (planted) {
            return result;
        }
        planted.emplace(HKEY_CURRENT_USER, L"k\\t", MakeKey(HKEY_CURRENT_USER, L"elsewhere").Get());
        return LSTATUS{ERROR_BUSY};
    });
    EXPECT_FALSE(user.DeleteTree(errors, true, L"t"));
    EXPECT_EQ(before, DumpKey(HKEY_CURRENT_USER, L"elsewhere"));
}

// The owner and access list of a key in the descriptor language, by the name that the security functions take.
std::wstring Security(const wchar_t* name)
{
    constexpr SECURITY_INFORMATION kWhat = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    t_localMemory descriptor, text;
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetNamedSecurityInfoW(name, SE_REGISTRY_KEY, kWhat, nullptr, nullptr, nullptr,
                                                          nullptr, descriptor.Put()));
    ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor.Get(), SDDL_REVISION_1, kWhat,
                                                         reinterpret_cast<wchar_t**>(text.Put()), nullptr);
    return text ? static_cast<const wchar_t*>(text.Get()) : L"";
}

TEST_F(Reg, DeniedDeleteHasAccessToThatKeyAloneUntilItIsEmpty)
{
    const wchar_t name[] = L"CURRENT_USER\\k\\x";
    const wchar_t childName[] = L"CURRENT_USER\\k\\x\\child";
    OpenKey(user, L"k");
    t_localMemory descriptor;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;CI;KR;;;WD)(A;CI;KA;;;BA)", SDDL_REVISION_1,
                                                                     descriptor.Put(), nullptr));
    ASSERT_EQ(ERROR_SUCCESS, RegSetKeySecurity(MakeKey(HKEY_CURRENT_USER, L"k\\x").Get(), DACL_SECURITY_INFORMATION,
                                               descriptor.Get()));
    MakeKey(HKEY_CURRENT_USER, L"k\\x\\child");
    const std::wstring key = Security(name), child = Security(childName);
    std::string attempts; // x for the key, c for its child
    REPLACE(remove, RegDeleteKeyW, [&](HKEY parent, LPCWSTR subKey) {
        attempts += static_cast<char>(*subKey);
        if (attempts == "xx" || attempts == "xxc") {
            std::wstring given = Security(name);
            const std::size_t first = given.find(L'(');
            EXPECT_THAT(given.substr(first, 9), testing::AnyOf(L"(A;;GA;;;", L"(A;;KA;;;"));
            EXPECT_EQ(key, given.erase(first, given.find(L')') + 1 - first));
            EXPECT_EQ(child, Security(childName));
        }
        return *subKey == L'x' ? LSTATUS{ERROR_ACCESS_DENIED} : remove.Original(parent, subKey);
    });
    EXPECT_FALSE(user.DeleteTree(errors, true, L"x"));
    EXPECT_EQ("xxcxx", attempts);
    EXPECT_EQ(key, Security(name));
}

TEST_F(Reg, DeniedDeleteTakesTheOwnershipOnlyMeanwhile)
{
    OpenKey(user, L"k");
    // What is tried: d(elete), r(ead), o(wner), a(ccess list) with the number of its entries and "p" where it is
    // protected; the first owner and list in capitals; "!" where it is denied; "T(" and "R(" where the privilege to
    // take or to restore begins.
    for (const auto& [readable, isProtected, expected] : {std::tuple(true, false, L" d r a1! T( o a1 ) d R( O ) A0"),
                                                          {true, true, L" d r a1! T( o a1 ) d R( O ) A0p"},
                                                          {false, true, L" d r! T( o r a1 ) d A0p"}}) {
        t_str steps;
        bool owned = false;
        SID owner{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_LOCAL_SYSTEM_RID}};
        ACL list{ACL_REVISION, 0, sizeof(ACL), 0, 0};
        REPLACE(remove, RegDeleteKeyW, [&](HKEY, LPCWSTR) {
            steps << L" d";
            return LSTATUS{ERROR_ACCESS_DENIED};
        });
        REPLACE(find, LookupPrivilegeValueW, [](LPCWSTR, LPCWSTR name, LUID* privilege) {
            privilege->LowPart = name[2];
            return name == std::wstring(L"SeTakeOwnershipPrivilege") || name == std::wstring(L"SeRestorePrivilege");
        });
        REPLACE(adjust, AdjustTokenPrivileges, [&](auto, auto, auto* next, auto, auto* former, auto...) {
            const auto& [luid, attributes] = next->Privileges[0];
            if (former != nullptr) {
                (*former = *next).Privileges[0].Attributes = 0;
                EXPECT_EQ(DWORD{SE_PRIVILEGE_ENABLED}, attributes);
            }
            attributes == 0 ? steps << L" )" : steps.AppendFormat(L" %c(", luid.LowPart);
            return TRUE;
        });
        REPLACE(get, GetNamedSecurityInfoW,
                [&](auto, auto, auto what, PSID* readOwner, auto, ACL** readList, auto, PSECURITY_DESCRIPTOR* read) {
                    steps << L" r";
                    if (!readable && !owned) {
                        steps << L"!";
                        return DWORD{ERROR_ACCESS_DENIED};
                    }
                    *readOwner = (what & OWNER_SECURITY_INFORMATION) != 0 ? &owner : nullptr;
                    *readList = &list;
                    *read = LocalAlloc(LPTR, sizeof(SECURITY_DESCRIPTOR));
                    InitializeSecurityDescriptor(*read, SECURITY_DESCRIPTOR_REVISION);
                    SetSecurityDescriptorControl(*read, SE_DACL_PROTECTED, isProtected ? SE_DACL_PROTECTED : 0);
                    return DWORD{ERROR_SUCCESS};
                });
        REPLACE(set, SetNamedSecurityInfoW, [&](auto, auto, auto what, PSID newOwner, auto, ACL* newList, auto) {
            if (what == OWNER_SECURITY_INFORMATION) {
                owned = newOwner != &owner;
                steps << (owned ? L" o" : L" O");
                return DWORD{ERROR_SUCCESS};
            }
            const bool former = newList == &list;
            steps << (former ? L" A" : L" a") << std::uint32_t{newList->AceCount};
            steps << ((what & PROTECTED_DACL_SECURITY_INFORMATION) != 0 ? L"p" : L"");
            steps << (former || owned ? L"" : L"!");
            return former || owned ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_ACCESS_DENIED};
        });
        EXPECT_FALSE(user.DeleteKey(errors, true, L"x"));
        EXPECT_EQ(expected, steps);
    }
}

} // namespace
