// What the report stands on and that needs no system call: the list of pending file operations, registered commands,
// and the code of functions in a file.
#include <gtest/gtest.h>

#include <numeric>
#include <set>

#include "base/image_code.h"
#include "base/pending_list.h"
#include "base/shell_command.h"

using namespace std::string_view_literals;

namespace {

// "source>target" of every operation, "source!target" when it replaces.
std::wstring Operations(std::wstring_view stored)
{
    std::wstring text;
    for (const t_pendingOperation& operation : ReadPendingList(stored)) {
        text += operation.source + (operation.replaces ? L"!" : L">") + operation.target + L" ";
    }
    return text;
}

} // namespace

TEST(PendingList, ReadsWhatTheSystemWritesAndWhatItDoesNot)
{
    const std::pair<std::wstring_view, const wchar_t*> rows[] = {
        {L""sv, L""},
        {L"\0"sv, L""},
        {L"\\??\\C:\\a\0\0\0"sv, L"C:\\a> "},
        {L"\\??\\C:\\a\0\0\\??\\C:\\b\0!\\??\\C:\\c\0\0"sv, L"C:\\a> C:\\b!C:\\c "},
        {L"*1\\??\\C:\\a\0\\??\\C:\\b\0\0"sv, L"C:\\a>C:\\b "},
        {L"\\??\\UNC\\server\\a\0\0\0"sv, L"\\\\server\\a> "},
        {L"\0\\??\\C:\\x\0\\??\\C:\\a\0\0\0"sv, L"C:\\a> "}, // a pair without a source
        {L"\\??\\C:\\a"sv, L"C:\\a> "},                      // no terminator at all
        {L"\\??\\C:\\a\0!"sv, L"C:\\a! "},
        {L"*12"sv, L"> "},
    };
    for (const auto& [stored, expected] : rows) {
        EXPECT_EQ(expected, Operations(stored));
    }
}

TEST(PendingList, TakesOutWhatConcernsAPathAndNothingElse)
{
    constexpr auto stored = L"\\??\\C:\\Tarvo\\A.ime\0\0*2\\??\\C:\\other\0!\\??\\c:\\TARVO\0\\??\\C:\\Tarvo2\0\0\0"sv;
    const std::tuple<const wchar_t*, std::size_t, std::wstring_view> rows[] = {
        {L"C:\\tarvo\\a.ime", 1, L"*2\\??\\C:\\other\0!\\??\\c:\\TARVO\0\\??\\C:\\Tarvo2\0\0\0"sv},
        {L"C:\\Tarvo", 2, L"\\??\\C:\\Tarvo2\0\0\0"sv},
        {L"C:\\", 0, stored},
        {L"C:\\Tarvo\\A.im", 0, stored},
    };
    for (const auto& [path, removed, rest] : rows) {
        std::size_t count = 99;
        EXPECT_EQ(rest, RemoveFromPendingList(stored, path, count)) << path;
        EXPECT_EQ(removed, count);
    }
    std::size_t count = 9;
    constexpr auto noSource = L"\0\\??\\C:\\a\0\0"sv;
    EXPECT_EQ(noSource, RemoveFromPendingList(noSource, L"C:\\a", count));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(L"", RemoveFromPendingList(L"\\??\\C:\\a\0\0\0"sv, L"C:\\a", count)); // no empty list stays
}

TEST(ShellCommand, SplitsAsTheShellDoesAndRefusesTheRest)
{
    const auto exists = [](const t_path& path) {
        EXPECT_TRUE(path.starts_with(L"C:\\")); // a path of a server is not even asked for
        static const std::set<std::wstring> files = {L"C:\\Program Files\\B.exe", L"C:\\Program.exe x\\c.EXE"};
        return files.contains(path);
    };
    const std::pair<std::wstring, std::wstring> rows[] = {
        {L"\"C:\\No Such\\b.exe\" -- \"%1\"", L"C:\\No Such\\b.exe|-- \"%1\""},
        {L" \t\"C:\\b.exe\"%1", L"C:\\b.exe|%1"},
        {L"C:\\Program Files\\B.exe \t-u %1", L"C:\\Program Files\\B.exe|-u %1"},
        {L"C:\\Program Files\\B %1", L"C:\\Program Files\\B.exe|%1"},
        {L"C:\\Program.exe x\\c.EXE", L"C:\\Program.exe x\\c.EXE|"},
        {L"C:\\gone.exe %1 %2", L"C:\\gone.exe|%1 %2"},
        {L"C:\\" + std::wstring(252, L'b') + L".exe", L"C:\\" + std::wstring(252, L'b') + L".exe|"},
    };
    const auto split = [&](const std::wstring& command) {
        t_shellCommand result;
        return SplitShellCommand(command, exists, result) ? result.program + L"|" + result.arguments : L"refused";
    };
    for (const auto& [command, expected] : rows) {
        EXPECT_EQ(expected, split(command)) << command;
    }
    // The first ends at its first blank, as in the shell.
    for (const std::wstring& command : std::initializer_list<std::wstring>{
             L"C:\\gone folder\\b.exe", L"", L"\"", L"\"C:\\b.exe", L"b.exe %1", L"\\\\server\\b.exe",
             L"\\\\?\\C:\\b.exe", L"C:b.exe", L"1:\\b.exe", L"C:\\b.cmd %1", L"C:\\.exe\\b", L"\"C:\\a\\..\\b.exe\"",
             L"C:\\b.txt:b.exe", L"C:\\b?.exe", L"C:/b.exe", L"C:\\b.exe\n", std::wstring(L"C:\\b.exe \0", 10),
             L"C:\\" + std::wstring(253, L'b') + L".exe"}) {
        EXPECT_EQ(L"refused", split(command)) << command;
    }
}

namespace {

constexpr std::uint64_t kPreferred = 0x180000000;
constexpr std::uint32_t kBase = 0x1000, kOffset = 0x200; // of the one section

// An image with one section, whose first 0x80 bytes are code of the value of their place. "Known" at 0x10 has unwind
// data for 0x20 bytes and an absolute address at 0x2C, four bytes of which belong to it; "Leaf" is at 0x40; "Other" is
// a function of another library; the name "Lost" leads out of the file.
struct t_builtImage
{
    t_builtImage()
    {
        Words(0x0, {0x5A4D});
        Words(0x3C, {0x80});
        Words(0x80, {0x4550, 0x18664}); // one section
        Words(0x94, {0xF0, 0x20B});
        Put(0xB0, kPreferred, 8);
        Words(0x104, {16, kBase + 0x100, 0x60}); // directories: exports, unwind data, relocations
        Words(0x120, {kBase + 0x1A0, 24});
        Words(0x130, {kBase + 0x1C0, 24});
        Words(0x194, {kBase, 0x200, kOffset});

        std::iota(bytes.begin() + kOffset, bytes.begin() + kOffset + 0x80, std::uint8_t{0});
        Put(kOffset + 0x2C, kPreferred + 0x2000, 8);
        Words(kOffset + 0x118, {4, kBase + 0x130, kBase + 0x140, kBase + 0x150});
        Words(kOffset + 0x130, {kBase + 0x40, kBase + 0x10, kBase + 0x158});
        // Names, and which function each has: the first has the second.
        Words(kOffset + 0x140, {kBase + 0x164, kBase + 0x16A, kBase + 0x170, 0x7FFFFFFF, 1, 2});
        constexpr auto kNames = "NTDLL.X\0    Known\0Leaf\0 Other"sv;
        std::copy(kNames.begin(), kNames.end(), bytes.begin() + kOffset + 0x158);
        Words(kOffset + 0x1A0, {kBase + 0x40, kBase, 0, kBase + 0x10, kBase + 0x30}); // the first ends before it begins
        Words(kOffset + 0x1C0, {kBase, 12, 0xA02C0000}); // one block: the end of padding, then the address
    }

    void Put(std::size_t offset, std::uint64_t number, std::size_t width)
    {
        for (std::size_t i = 0; i < width; ++i) {
            bytes[offset + i] = static_cast<std::uint8_t>(number >> (8 * i));
        }
    }
    void Words(std::size_t offset, std::initializer_list<std::uint32_t> numbers)
    {
        for (const std::uint32_t number : numbers) {
            Put(offset, number, 4);
            offset += 4;
        }
    }

    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(0x400);
};

} // namespace

TEST(ImageFile, FindsFunctionsAndRelocatesTheirCode)
{
    const t_builtImage built;
    const t_imageFile image(built.bytes);
    ASSERT_TRUE(image.IsValid());
    EXPECT_EQ(kBase + 0x10, image.FindFunction("Known"));
    EXPECT_EQ(kBase + 0x40, image.FindFunction("Leaf"));
    for (const char* const name : {"Other", "Lost", "Know", "Known2", ""}) {
        EXPECT_EQ(0u, image.FindFunction(name)) << name;
    }

    std::vector<std::uint8_t> expected(built.bytes.begin() + kOffset + 0x10, built.bytes.begin() + kOffset + 0x30);
    EXPECT_EQ(expected, image.ReadFunction(kBase + 0x10, kPreferred));
    // Moved by 0x12340000: of the address 0x180002000 the low half, 0x92342000, lies in the function.
    expected[0x1E] = 0x34, expected[0x1F] = 0x92;
    EXPECT_EQ(expected, image.ReadFunction(kBase + 0x10, kPreferred + 0x12340000));
    EXPECT_EQ(t_imageFile::kLeafBytes, image.ReadFunction(kBase + 0x40, kPreferred).size());
    EXPECT_EQ(8u, image.ReadFunction(kBase + 0x1F8, kPreferred).size()); // the end of the section
    EXPECT_TRUE(image.ReadFunction(kBase + 0x200, kPreferred).empty());
    EXPECT_TRUE(image.ReadFunction(0x10, kPreferred).empty());
}

TEST(ImageFile, SurvivesEveryCutAndEveryWrongByte)
{
    const t_builtImage built;
    const auto use = [](std::span<const std::uint8_t> bytes) {
        const t_imageFile image(bytes);
        const std::uint32_t address = image.FindFunction("Known");
        return image.ReadFunction(address, 1).size() + (image.IsValid() ? 1 : 0);
    };
    for (std::size_t size = 0; size < built.bytes.size(); ++size) {
        const std::vector<std::uint8_t> cut(built.bytes.begin(),
                                            built.bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_LE(use(cut), t_imageFile::kMaxFunctionBytes);
    }
    for (std::size_t at = 0; at < built.bytes.size(); ++at) {
        for (const int wrong : {0x00, 0x01, 0x7F, 0xFF}) {
            t_builtImage changed = built;
            changed.bytes[at] = static_cast<std::uint8_t>(wrong);
            EXPECT_LE(use(changed.bytes), t_imageFile::kMaxFunctionBytes + 1);
        }
    }
    for (const auto& [offset, number] : {std::pair{0, 0x5A4E}, {0x80, 0x4551}, {0x84, 0xAA64}, {0x98, 0x10B}}) {
        t_builtImage other = built;
        other.Put(static_cast<std::size_t>(offset), static_cast<std::uint64_t>(number), 2);
        EXPECT_FALSE(t_imageFile(other.bytes).IsValid()) << offset;
    }
}
