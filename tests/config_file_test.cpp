#include "tests/windows_test.h"

#include <sddl.h>

#include "base/handles.h"
#include "config/runtime_file.h"
#include "config/text_cipher.h"

namespace n_config {

using namespace std::literals;

// Another program that has a file open, and closes it at a pause of whoever waits for that.
struct t_holder
{
    t_holder(const std::wstring& path, DWORD access, DWORD share, int closingPause = 0)
        : closeAt(closingPause),
          file(MakeFileHandle(CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, 0, nullptr)))
    {
    }
    int closeAt;
    t_handle file;
    DWORD waited = 0;
    REPLACE(sleep, Sleep, [this](DWORD milliseconds) {
        waited += milliseconds;
        if (sleep.calls == closeAt) {
            file.Reset();
        }
    });
};

struct ConfigFile : testing::Test
{
    void Store(const std::string& bytes) const { scratch.Write(L"t.ini", bytes); }
    std::string Stored() const { return scratch.Read(L"t.ini"); }

    std::wstring LoadError()
    {
        t_configFile file;
        file.Text().SetValue(L"before", L"k", L"v");
        errors.Clear();
        EXPECT_FALSE(file.Load(errors, path.c_str()));
        EXPECT_EQ(L"", file.Text().Render());
        return Entries(errors);
    }

    t_scratchDirectory scratch;
    const std::wstring path = scratch.Path(L"t.ini");
    t_errorChain errors;
};

TEST_F(ConfigFile, NamesTheReasonOfAFailedRead)
{
    EXPECT_EQ(L"系统错误2|无法打开ini文件", LoadError());
    for (const std::string& bytes : {"\xFF\xFEk"s, "\xEF\xBB\xBF\xFF"s, "[a]\nk=\xD6\x20\n"s}) {
        Store(bytes);
        EXPECT_EQ(L"无法解析ini文件", LoadError());
    }
    std::filesystem::resize_file(path, (64 << 20) + 1);
    EXPECT_EQ(L"系统错误223|无法读取ini文件", LoadError());
    std::filesystem::resize_file(path, 1 << 20);
    std::size_t largest = 1 << 19;
    REPLACE(limit, malloc, [&](std::size_t bytes) { return bytes <= largest ? limit.Original(bytes) : nullptr; });
    EXPECT_EQ(L"系统错误8|无法读取ini文件:分配内存失败", LoadError());
    largest = 3 << 19; // enough for the bytes, not for their text
    EXPECT_EQ(L"无法解析ini文件", LoadError());
}

TEST_F(ConfigFile, WaitsForWhoHoldsTheFile)
{
    const std::wstring unsaved = L"系统错误32|保存ini文件失败:" + path;
    for (const auto& [save, access, share, closeAt, pauses, error] :
         {std::tuple{false, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, 0, 0, L""},
          {false, GENERIC_READ, 0, 2, 2, L""},
          {false, GENERIC_READ, 0, 0, 4, L"系统错误32|无法打开ini文件"},
          {true, GENERIC_READ, FILE_SHARE_READ, 2, 2, L""},
          {true, GENERIC_READ, FILE_SHARE_READ, 6, 6, L""},
          {true, GENERIC_READ, FILE_SHARE_READ, 0, 8, unsaved.c_str()}}) {
        Store("[a]");
        t_holder holder(path, static_cast<DWORD>(access), static_cast<DWORD>(share), closeAt);
        t_configFile file;
        errors.Clear();
        EXPECT_EQ(*error == L'\0', save ? file.Save(errors, path.c_str()) : file.Load(errors, path.c_str()));
        EXPECT_EQ(error, Entries(errors));
        EXPECT_EQ(pauses, holder.sleep.calls);
        EXPECT_LT(holder.waited, 500u);
        holder.file.Reset();
        EXPECT_EQ(save && *error == L'\0' ? "\xFF\xFE" : "[a]", Stored());
    }
}

TEST_F(ConfigFile, ReadsWhatDoesNotChangeMeanwhile)
{
    std::vector<std::string> stored; // the last one next
    REPLACE(sleep, Sleep, [](DWORD) {});
    REPLACE(read, ReadFile, [&](auto... arguments) {
        if (!stored.empty()) {
            Store(stored.back());
            stored.pop_back();
        }
        return read.Original(arguments...);
    });
    for (const char* const before : {"[a]", "[a]\nk=v\n[b]"}) {
        Store(before);
        stored = {"[a]\nk=v"};
        t_configFile file;
        EXPECT_TRUE(file.Load(errors, path.c_str()));
        EXPECT_EQ(L"[a]\r\nk=v\r\n", file.Text().Render());
    }
    for (std::size_t length = 1; length < 10; ++length) {
        stored.emplace_back(length, ';');
    }
    EXPECT_EQ(L"系统错误32|无法读取ini文件", LoadError());
}

TEST_F(ConfigFile, ReadsCodePage936AndStoresUtf16WithTheFilesAccessList)
{
    const auto accessList = [this] {
        char descriptor[1024] = {};
        DWORD size = 0;
        EXPECT_TRUE(GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor, 1024, &size));
        return std::string(descriptor, size);
    };
    Store("[a]\nk = v\n[b]\nk=\xD6\xD0\n");
    const std::string inherited = accessList();
    t_localMemory onlyOwner;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;FA;;;S-1-3-4)(A;;FA;;;BA)",
                                                                     SDDL_REVISION_1, onlyOwner.Put(), nullptr));
    ASSERT_TRUE(SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, onlyOwner.Get()));
    const std::string before = accessList();
    ASSERT_NE(inherited, before);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    t_configFile file;
    ASSERT_TRUE(file.Load(errors, path.c_str()));
    ASSERT_TRUE(file.Save(errors, path.c_str()));
    EXPECT_EQ("\xFF\xFE[\0a\0]\0\r\0\n\0k\0=\0v\0\r\0\n\0\r\0\n\0[\0b\0]\0\r\0\n\0k\0=\0\x2DN\r\0\n\0"s, Stored());
    EXPECT_EQ(0u, GetFileAttributesW(path.c_str()) & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    EXPECT_EQ(before, accessList());
}

TEST_F(ConfigFile, SavesOverNothingThatItCouldNotRead)
{
    const std::wstring sameFile = scratch.Path(L"T.INI"), other = scratch.Path(L"other.ini");
    Store("[a]\nk=v\n");
    t_configFile file;
    {
        t_holder holder(path, GENERIC_READ, 0);
        EXPECT_FALSE(file.Load(errors, path.c_str()));
    }
    EXPECT_TRUE(file.Save(errors, other.c_str()));
    EXPECT_TRUE(file.Load(errors, other.c_str()));
    EXPECT_FALSE(file.Save(errors, sameFile.c_str())) << "with the content of the other file";
    EXPECT_EQ(L"系统错误32|无法打开ini文件|保存ini文件失败:" + sameFile, Entries(errors));
    EXPECT_EQ("[a]\nk=v\n", Stored());
    EXPECT_TRUE(file.Load(errors, path.c_str()));
    EXPECT_TRUE(file.Save(errors, sameFile.c_str()));
    DeleteFileW(path.c_str());
    for (const DWORD code : {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND}) {
        REPLACE(attributes, GetFileAttributesW, [&](auto) { return SetLastError(code), INVALID_FILE_ATTRIBUTES; });
        EXPECT_FALSE(file.Load(errors, path.c_str()));
        EXPECT_EQ(code == ERROR_FILE_NOT_FOUND, file.Save(errors, path.c_str())) << "what may be there is saved over";
    }
}

TEST_F(ConfigFile, SetsAsideWhatItCannotDecode)
{
    const std::string damaged = "\xEF\xBB\xBF\xFF";
    Store(damaged);
    t_configFile file;
    EXPECT_FALSE(file.Load(errors, path.c_str()));
    t_holder holder(path, GENERIC_READ, FILE_SHARE_READ, 2);
    for (int save = 0; save < 2; ++save) {
        EXPECT_TRUE(file.Save(errors, path.c_str()));
        EXPECT_EQ("\xFF\xFE", Stored());
        EXPECT_EQ(damaged, scratch.Read(L"t.ini.bad"));
    }
    Store(damaged);
    EXPECT_FALSE(file.Load(errors, path.c_str()));
    DeleteFileW(path.c_str());
    EXPECT_TRUE(file.Save(errors, path.c_str())) << "somebody has taken it away";
}

TEST_F(ConfigFile, WritesInPlaceWhatHasOneName)
{
    bool newFiles = true;
    REPLACE(sleep, Sleep, [](DWORD) {});
    REPLACE(move, MoveFileExW, [](auto...) { return SetLastError(ERROR_ACCESS_DENIED), FALSE; });
    REPLACE(create, CreateFileW, [&](auto name, auto... rest) {
        SetLastError(ERROR_ACCESS_DENIED);
        return newFiles || name == path ? create.Original(name, rest...) : INVALID_HANDLE_VALUE;
    });
    Store("old");
    ASSERT_TRUE(CreateHardLinkW(scratch.Path(L"other").c_str(), path.c_str(), nullptr));
    EXPECT_FALSE(t_configFile().Save(errors, path.c_str()));
    EXPECT_EQ("old", scratch.Read(L"other"));
    DeleteFileW(path.c_str());
    newFiles = false;
    EXPECT_FALSE(t_configFile().Save(errors, path.c_str())) << "there is none";
    EXPECT_EQ(L"系统错误1920|保存ini文件失败:" + path + L"|系统错误5|保存ini文件失败:" + path, Entries(errors));
}

TEST_F(ConfigFile, EnciphersCodePage936AndRefusesAnotherKeyOrAChange)
{
    std::array<std::uint8_t, t_textCipher::kKeyBytes> key{1}, otherKey{2};
    t_textCipher cipher(key), other(otherKey);
    t_configFile file(&cipher), second(&cipher), wrong(&other);
    file.Text().SetValue(L"a", L"?", L"中");
    ASSERT_TRUE(file.Save(errors, path.c_str()));
    ASSERT_TRUE(second.Load(errors, path.c_str()));
    EXPECT_EQ(file.Text().Render(), second.Text().Render());
    const std::string stored = Stored();
    for (std::size_t i = 0; i < stored.size(); ++i) {
        std::string changed = stored, cut = stored.substr(0, i);
        changed[i] ^= 1;
        EXPECT_FALSE(cipher.Decipher(changed)) << i;
        EXPECT_FALSE(cipher.Decipher(cut)) << i;
    }
    for (const std::string& text : {""s, std::string(1000, 'x')}) {
        std::string once = text, twice = text;
        EXPECT_TRUE(cipher.Encipher(once));
        EXPECT_TRUE(cipher.Encipher(twice));
        EXPECT_NE(once, twice);
        EXPECT_TRUE(cipher.Decipher(once));
        EXPECT_EQ(text, once);
    }
    // As another implementation of the mode has it.
    std::string sealed = "TVC1nonce nonce!\x52\x48\xEF\xFA\x6C\xF9\xDE\xBA\x56\x90\x79\x80\x9B\xBD\x35\xB0\x45\xDB\x04";
    EXPECT_TRUE(cipher.Decipher(sealed));
    EXPECT_EQ("[a]", sealed);
    sealed = stored;
    EXPECT_TRUE(cipher.Decipher(sealed));
    EXPECT_EQ("?[a]\r\n?=\xD6\xD0\r\n", sealed);

    // No failure touches the file.
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
    ImmImportPatch<BOOLEAN (*)(void*, ULONG)> random("SystemFunction036", [](auto...) { return BOOLEAN{FALSE}; });
    EXPECT_FALSE(file.Save(errors, path.c_str()));
    EXPECT_FALSE(wrong.Load(errors, path.c_str()));
    file.Text().SetValue(L"a", L"k", L"\xD800");
    EXPECT_FALSE(file.Save(errors, path.c_str()));
    EXPECT_EQ(L"保存ini文件失败:加密失败|无法解析ini文件|保存ini文件失败:转换失败", Entries(errors));
    EXPECT_EQ(stored, Stored());
    EXPECT_NE(0u, GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_READONLY);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(ConfigFile, RuntimeSchema)
{
    t_configRuntimeFile file(true);
    const auto values = [&](const std::string& bytes) {
        Store(bytes);
        EXPECT_TRUE(file.Load(errors, path.c_str()));
        ::t_str text = FormatStr(L"%d %d %d %d", file.Cnt(), file.Version(), file.Sapi(), file.Pcam());
        for (const auto& item : file.Items()) {
            text << L"|" << item->process.Value() << L" " << item->type.Value() << L" " << item->company.Value() << L" "
                 << item->version.Value() << L" " << item->command.Value() << L" " << item->res.Value();
        }
        return text;
    };
    EXPECT_EQ(L"0 0 0 1", values(""));
    EXPECT_EQ(L"-1 0 0 1", values("[setting]\ncnt=-1\n[item0]\n"));
    EXPECT_EQ(L"2000000000 3 1 0|a.exe 16 c v x r|d 0    |b 0    |e 0    ",
              values("[Setting]\nCNT=2000000000\nversion=3\n[switch]\nsapi=1\n[pcaccountmanager]\npcam=0\n"
                     "[item10]\nprocess=b\n[item9]\nprocess=d\ntype=x\n[item1999999999]\nprocess=e\n[item2000000000]\n"
                     "[Item0]\nprocess=a.exe\ntype=0x10\ncompany=c\nversion=v\ncommand=x\nres=r\n"
                     "[item]\n[item01]\n[item+1]\n[items1]\n[it]"));

    values("[setting]\ncnt=1\nversion=five\n[item0]\nprocess=a\n[pcaccountmanager]\npcam=0x0\n");
    EXPECT_TRUE(file.Save(errors, path.c_str()));
    EXPECT_EQ(L"[setting]\r\ncnt=1\r\nversion=0\r\n\r\n[item0]\r\nprocess=a\r\ntype=0\r\ncompany=\r\nversion=\r\n"
              L"command=\r\nres=\r\n\r\n[pcaccountmanager]\r\npcam=0x0\r\n\r\n[switch]\r\nsapi=0\r\n",
              file.Text().Render());
    DeleteFileW(path.c_str());
    EXPECT_FALSE(file.Load(errors, path.c_str()));
    EXPECT_EQ(std::tuple(0, 1, 0u), std::tuple(file.Cnt(), file.Pcam(), file.Items().size()));
}

} // namespace n_config
