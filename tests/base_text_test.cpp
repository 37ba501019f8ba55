#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <thread>
#include <tuple>

#include "base/byte_stream.h"
#include "base/elf_hash.h"
#include "base/guid_text.h"
#include "base/number_text.h"
#include "base/path.h"
#include "base/singleton.h"

namespace {

TEST(Path, JoinsAndCuts)
{
    const wchar_t* const joins[][3] = {{L"C:\\a", L"b", L"C:\\a\\b"}, {L"C:\\", L"b", L"C:\\b"},
                                       {L"", L"b", L"\\b"},           {L"x", L".ini", L"x.ini"},
                                       {L"x.INI", L".ini", L"x.INI"}, {L"x.ini.bak", L".ini", L"x.ini.bak.ini"},
                                       {L"x\\", L".", L"x\\."},       {L"x", L"", L"x\\"}};
    for (const auto& [path, component, joined] : joins) {
        EXPECT_EQ(joined, JoinPath(path, component));
    }
    t_path whole(L"C:\\a\\b.exe");
    EXPECT_EQ(L"b.exe", FileNamePart(whole));
    for (const auto& [left, cut] : {std::pair{L"C:\\a", true}, {L"C:", true}, {L"C:", false}}) {
        EXPECT_EQ(cut, whole.CutLastComponent());
        EXPECT_EQ(left, whole);
    }
}

TEST(NumberText, ReadsPrefixesAsTheCLibraryDoes)
{
    constexpr std::uint32_t kMax = 0xFFFFFFFF;
    const std::tuple<const wchar_t*, std::uint32_t, std::uint32_t, std::int32_t> rows[] = {
        {L"", 0, 0, 0},
        {L"12zz", 0x12, 12, 12},
        {L" \t\n\v\f\r -1", kMax, kMax, -1},
        {L"+7", 7, 7, 7},
        {L"0x1", 1, 0, 0},
        {L"0X", 0, 0, 0},
        {L"2147483648", kMax, 2147483648u, 2147483647},
        {L"-2147483649", kMax, 2147483647u, -2147483647 - 1},
        {L"4294967296", kMax, kMax, 2147483647},
        {L"-4294967295", kMax, 1, -2147483647 - 1},
        {L"99999999999999999999999999", kMax, kMax, 2147483647}};
    for (const auto& [text, hex, decimal, signedDecimal] : rows) {
        EXPECT_EQ(std::tuple(text, hex, decimal, signedDecimal),
                  std::tuple(text, ParseHexPrefix(text), ParseUnsignedDecimalPrefix(text), ParseDecimalPrefix(text)));
    }
    std::uint32_t value = 1;
    for (const wchar_t* const bad : {L"", L"012345678", L"0x1", L" 1", L"-1", L"1g"}) {
        EXPECT_FALSE(ParseHexDigits(bad, value)) << bad;
        EXPECT_EQ(1u, value) << bad;
    }
    EXPECT_TRUE(ParseHexDigits(L"00aBcDeF", value));
    EXPECT_EQ(0xABCDEFu, value);
}

TEST(ElfHash, IsThatOfTheObjectFormat)
{
    for (const auto& [text, hash] : {std::pair{L"", 0u}, {L"exit", 0x6CF04u}, {L"_GLOBAL_OFFSET_TABLE_", 0x6186E0Fu}}) {
        EXPECT_EQ(hash, ElfHash(text)) << text;
    }
    EXPECT_EQ(ElfHash(L"tarvo\xC9"), ElfHashIgnoringCase(L"TaRvO\xC9"));
}

TEST(GuidText, ReadsFixedPositionsAndWritesUpperCase)
{
    const t_guid guid{0x0123abcd, 0x4567, 0x89ef, {0, 1, 2, 3, 0xfc, 0xfd, 0xfe, 0xff}};
    const std::wstring text = L"{0123ABCD-4567-89EF-0001-0203FCFDFEFF}";
    EXPECT_EQ(text, FormatGuid(guid));
    t_guid any, read, kept;
    for (std::size_t i = 1; i < text.size(); ++i) {
        std::wstring changed = text;
        changed[i] = L' ';
        EXPECT_EQ(text[i] == L'-' || text[i] == L'}', ParseGuid(changed, any)) << changed;
        EXPECT_EQ(i == 37, ParseGuid(text.substr(0, i), any)) << i;
    }
    EXPECT_FALSE(ParseGuid(L" " + text, any));
    EXPECT_TRUE(ParseGuid(L"0123abcd-4567-89ef-0001-0203fcfdfeff}tail", read));
    EXPECT_EQ(guid, read);
    EXPECT_FALSE(ParseGuid(text.substr(0, 36), kept));
    EXPECT_EQ(t_guid(), kept);
}

int made = 0;
struct t_inner
{
    static constexpr char kSingletonName[] = "test_inner";
    t_inner() { ++made; }
    ~t_inner() { --made; }
};
struct t_outer
{
    static constexpr char kSingletonName[] = "test_outer";
    t_inner* inner = ImmSingleton<t_inner>::Instance(); // asked for while this one is being made
};

TEST(Singleton, IsMadeOnceOnFirstUseAndAgainAfterDestruction)
{
    t_singletonRegistry& registry = t_singletonRegistry::Process();
    EXPECT_EQ(nullptr, registry.Find("test_inner"));
    {
        std::jthread threads[8];
        for (std::jthread& thread : threads) {
            thread = std::jthread([] { EXPECT_NE(nullptr, ImmSingleton<t_inner>::Instance()); });
        }
    }
    EXPECT_EQ(ImmSingleton<t_inner>::Instance(), ImmSingleton<t_outer>::Instance()->inner);
    EXPECT_EQ(1, made);
    EXPECT_NE(nullptr, registry.Find(std::string("test_inner").c_str())); // by its text, wherever that lies
    registry.DestroyAll();
    EXPECT_EQ(0, made);
    EXPECT_NE(nullptr, ImmSingleton<t_outer>::Instance()->inner);
    EXPECT_EQ(1, made);
    registry.DestroyAll();
}

TEST(Singleton, RegistryOwnsInOrderUpToItsLimit)
{
    static std::string destroyed;
    struct t_recorder : t_singletonObject
    {
        explicit t_recorder(char recordedName) : name(recordedName) {}
        ~t_recorder() override { destroyed += name; }
        char name;
    };
    {
        t_singletonRegistry registry(9); // beyond the first block of eight
        for (const char* const name : {"a", "b", "c", "d", "e", "f", "g", "h", "i"}) {
            EXPECT_TRUE(registry.Add(name, new t_recorder(*name)));
        }
        auto refused = std::make_unique<t_recorder>('j');
        EXPECT_FALSE(registry.Add("j", refused.get()));
        EXPECT_EQ(nullptr, registry.Find("j"));
    }
    EXPECT_EQ("jihgfedcba", destroyed);
}

TEST(ByteStream, EndsWithItsBytes)
{
    std::array<std::uint8_t, 8> bytes{};
    const auto room = std::as_writable_bytes(std::span(bytes)).first(7); // the last byte belongs to somebody else
    t_byteWriter writer(room);
    EXPECT_TRUE(writer.Write(std::uint32_t{0x12345678}));
    EXPECT_FALSE(writer.Write(std::uint32_t{1}));
    EXPECT_FALSE(writer.WriteUnits(L"\x9519x"));
    EXPECT_EQ((std::array<std::uint8_t, 8>{0x78, 0x56, 0x34, 0x12, 0x19, 0x95, 0, 0}), bytes);
    t_byteReader reader(room);
    std::uint32_t number = 0;
    std::wstring text;
    EXPECT_TRUE(reader.Read(number));
    EXPECT_FALSE(reader.Read(number));
    EXPECT_FALSE(reader.ReadText(text)) << "no terminator";
    EXPECT_EQ(std::tuple(0x12345678u, L"\x9519", 1u), std::tuple(number, text, reader.Left()));
}

} // namespace
