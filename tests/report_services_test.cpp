// What the report stands on and that needs no system call: registered commands and the code of functions in a file.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <set>

#include "base/image_code.h"
#include "base/shell_command.h"

using namespace std::string_view_literals;

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
constexpr std::uint32_t kBase = 0x1000, kOffset = 0x200; // of the second section

using t_bytes = std::vector<std::uint8_t>;

// An image whose second section ends with its last table; the first 0x80 bytes there are code of the value of their
// place. "Known" at 0x10 has unwind data for 0x20 bytes and an absolute address at 0x2C, four bytes of which belong to
// it; "Leaf" is at 0x40; "Other" is a function of another library; the name "Lost" leads out of the file.
t_bytes BuildImage()
{
    const std::pair<std::size_t, std::vector<std::uint32_t>> words[] = {
        {0x0, {0x5A4D}},
        {0x3C, {0x80}},
        {0x80, {0x4550, 0x28664, 0, 0, 0, 0xF0, 0x20B}}, // two sections
        {0xB0, {kPreferred & 0xFFFFFFFF, kPreferred >> 32}},
        // Directories: exports, unwind data, relocations.
        {0x104, {16, kBase + 0x100, 0x60, 0, 0, 0, 0, kBase + 0x1A0, 24, 0, 0, kBase + 0x1C0, 24}},
        {0x194, {0x3000, 0x10, 0x3F0}},
        {0x1BC, {kBase, 0x1CC, kOffset}},
        {kOffset + 0x2C, {(kPreferred & 0xFFFFFFFF) + 0x2000, kPreferred >> 32}},
        {kOffset + 0x118, {4, kBase + 0x130, kBase + 0x140, kBase + 0x150}},
        {kOffset + 0x130, {kBase + 0x40, kBase + 0x10, kBase + 0x158}},
        // Names, and which function each has: the first has the second.
        {kOffset + 0x140, {kBase + 0x164, kBase + 0x16A, kBase + 0x170, 0x7FFFFFFF, 1, 2}},
        {kOffset + 0x1A0, {kBase + 0x40, kBase, 0, kBase + 0x10, kBase + 0x30}}, // the first ends before it begins
        {kOffset + 0x1C0, {kBase, 12, 0xA02C0000}}, // one block: the end of padding, then the address
    };
    constexpr auto kNames = "NTDLL.X\0    Known\0Leaf\0 Other"sv;
    t_bytes bytes(0x400);
    std::iota(bytes.begin() + kOffset, bytes.begin() + kOffset + 0x80, std::uint8_t{0});
    for (const auto& [offset, numbers] : words) {
        std::memcpy(&bytes[offset], numbers.data(), numbers.size() * 4);
    }
    std::copy(kNames.begin(), kNames.end(), bytes.begin() + kOffset + 0x158);
    return bytes;
}

} // namespace

TEST(ImageFile, FindsFunctionsAndRelocatesTheirCode)
{
    const t_bytes built = BuildImage();
    const t_imageFile image(built);
    ASSERT_TRUE(image.IsValid());
    EXPECT_EQ(kBase + 0x10, image.FindFunction("Known"));
    EXPECT_EQ(kBase + 0x40, image.FindFunction("Leaf"));
    for (const char* const name : {"Other", "Lost", "Know", "Known2", ""}) {
        EXPECT_EQ(0u, image.FindFunction(name)) << name;
    }
    t_bytes expected(built.begin() + kOffset + 0x10, built.begin() + kOffset + 0x30);
    EXPECT_EQ(expected, image.ReadFunction(kBase + 0x10, kPreferred));
    // Moved by 0x12340000: of the address 0x180002000 the low half, 0x92342000, lies in the function.
    expected[0x1E] = 0x34, expected[0x1F] = 0x92;
    EXPECT_EQ(expected, image.ReadFunction(kBase + 0x10, kPreferred + 0x12340000));
    // The function at the section's beginning, one inside, one at its end, and none.
    for (const auto& [address, size] : {std::pair{kBase, t_imageFile::kLeafBytes},
                                        {kBase + 0x40, t_imageFile::kLeafBytes},
                                        {kBase + 0x1C4, 8},
                                        {kBase + 0x1CC, 0},
                                        {0x10, 0}}) {
        EXPECT_EQ(size, image.ReadFunction(address, kPreferred).size()) << address;
    }
    for (const std::size_t mark : {0u, 0x80u, 0x84u, 0x98u}) {
        t_bytes changed = built;
        changed[mark] ^= 1;
        EXPECT_FALSE(t_imageFile(changed).IsValid()) << mark;
    }
}
