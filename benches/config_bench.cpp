// Configuration files beside SimpleIni and the system's profile functions.
#include <windows.h>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>

#define SI_IMPLEMENTATION // the functions too, not only the class
#include "SimpleIni.h"
#include "base/str.h"
#include "benches/config_sample.h"
#include "benches/measure.h"
#include "config/config_file.h"

namespace {

std::size_t allocated = 0;
std::size_t mostAllocated = 0;

} // namespace

void* operator new(std::size_t bytes)
{
    void* const memory = std::malloc(bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    allocated += _msize(memory);
    mostAllocated = std::max(mostAllocated, allocated);
    return memory;
}

void operator delete(void* memory) noexcept
{
    allocated -= memory != nullptr ? _msize(memory) : 0;
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}

// Those of the arenas, which ask for no more alignment than malloc gives.
void* operator new(std::size_t bytes, std::align_val_t)
{
    return operator new(bytes);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    operator delete(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    operator delete(memory);
}

namespace {

constexpr wchar_t kFile[] = L"config_bench.ini";
constexpr wchar_t kUtf8File[] = L"config_bench_utf8.ini";
constexpr wchar_t kWritten[] = L"config_bench_written.ini";
constexpr wchar_t kTemporary[] = L"config_bench.tmp";

void Check(bool done, const char* what)
{
    if (!done) {
        std::fprintf(stderr, "config_bench: %s failed\n", what);
        std::exit(1);
    }
}

void WriteBytes(const wchar_t* path, const void* data, std::size_t bytes, const char* mark)
{
    FILE* const file = _wfopen(path, L"wb");
    Check(file != nullptr && std::fputs(mark, file) >= 0 && std::fwrite(data, 1, bytes, file) == bytes &&
              std::fclose(file) == 0,
          "writing a file");
}

// The profile functions keep files in memory until their time changes.
void TouchFile(const wchar_t* path)
{
    static ULONGLONG time = 0x01D0000000000000;
    time += 100000000;
    const FILETIME written{static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    const HANDLE file = CreateFileW(path, FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    SetFileTime(file, nullptr, nullptr, &written);
    CloseHandle(file);
}

// Puts the temporary file in the place of another one as the product does it: on the disk first, then in one step.
void PutInPlace(const wchar_t* path)
{
    const HANDLE file = CreateFileW(kTemporary, GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    const bool flushed = FlushFileBuffers(file);
    CloseHandle(file);
    Check(flushed && MoveFileExW(kTemporary, path, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH),
          "putting a file in place");
}

const char* NameOf(std::size_t bytes)
{
    return bytes < 1 << 20 ? "10 KiB" : bytes < 64 << 20 ? "1 MiB" : "64 MiB";
}

// Peak of the memory that work asks for, in file sizes.
template <class Work>
double PeakOver(std::size_t bytes, Work work)
{
    const std::size_t before = mostAllocated = allocated;
    work();
    return static_cast<double>(mostAllocated - before) / static_cast<double>(bytes);
}

// The rows of one size.
class t_row
{
public:
    explicit t_row(const char* sizeToName) : size(sizeToName) {}

    void Compare(const char* what, const std::function<void()>& subject, const char* peerName,
                 const std::function<void()>& peer, const char* aim, const char* remark) const
    {
        const n_bench::t_measured measured = n_bench::Measure(subject, peer, 0.6);
        char text[128];
        std::snprintf(text, sizeof(text), "%.2f ms to %.2f ms%s%s", measured.subject * 1000, measured.peer * 1000,
                      *remark != '\0' ? "; " : "", remark);
        Print(what, peerName, measured.Ratio(), aim, text);
    }

    void Print(const char* what, const char* beside, double ratio, const char* aim, const char* remark) const
    {
        char row[64];
        std::snprintf(row, sizeof(row), "configuration, %s %s", what, size);
        n_bench::PrintRow(row, beside, ratio, aim, remark);
    }

private:
    const char* size;
};

void MeasureSize(std::size_t bytes)
{
    const n_bench::t_sample sample = n_bench::MakeSample((bytes - 2) / 2);
    wchar_t fullPath[MAX_PATH];
    GetFullPathNameW(kFile, MAX_PATH, fullPath, nullptr);
    WriteBytes(kFile, sample.text.data(), sample.text.size() * 2, "\xFF\xFE");
    const std::string narrow(sample.text.begin(), sample.text.end());
    WriteBytes(kUtf8File, narrow.data(), narrow.size(), "");

    t_errorChain errors;
    const auto read = [&] {
        n_config::t_configFile file;
        Check(file.Load(errors, kFile) && file.Text().FindValue(sample.section, sample.key).has_value(), "Load");
    };
    const auto readSimpleIni = [&] {
        CSimpleIniW file(true);
        Check(file.LoadFile(kUtf8File) == SI_OK && file.GetValue(sample.section.c_str(), sample.key.c_str()) != nullptr,
              "SimpleIni's LoadFile");
    };
    const auto readProfile = [&] {
        TouchFile(kFile);
        wchar_t value[64];
        Check(GetPrivateProfileStringW(sample.section.c_str(), sample.key.c_str(), nullptr, value, ARRAYSIZE(value),
                                       fullPath) > 0,
              "GetPrivateProfileStringW");
    };
    t_row row(NameOf(bytes));
    row.Compare("read", read, "SimpleIni", readSimpleIni, "0.33", "it reads UTF-8 of half the size");
    row.Compare("read", read, "GetPrivateProfileStringW", readProfile, "0.33", "");

    n_config::t_configFile file;
    CSimpleIniW simpleIni(true);
    const double peak = PeakOver(bytes, [&] { Check(file.Load(errors, kFile), "Load"); });
    const double peerPeak =
        PeakOver(bytes / 2, [&] { Check(simpleIni.LoadFile(kUtf8File) == SI_OK, "SimpleIni's LoadFile"); });
    char remark[96];
    std::snprintf(remark, sizeof(remark), "SimpleIni: %.1f times", peerPeak);
    row.Print("memory to read", "the file", peak, "3", remark);

    const auto write = [&] { Check(file.Save(errors, kWritten), "Save"); };
    const auto writeSimpleIniTo = [&](const wchar_t* path) {
        Check(simpleIni.SaveFile(path, false) == SI_OK, "SimpleIni's SaveFile");
    };
    int number = 0;
    const auto writeProfileTo = [&](const wchar_t* path) {
        const std::wstring value = std::to_wstring(++number); // one that is there already is not written
        Check(WritePrivateProfileStringW(sample.section.c_str(), sample.key.c_str(), value.c_str(), path),
              "WritePrivateProfileStringW");
    };
    constexpr char kOnlyOursIsSafe[] = "ours alone is on the disk, and replaces the old file in one step";
    row.Compare(
        "write", write, "SimpleIni", [&] { writeSimpleIniTo(kUtf8File); }, "0.33", kOnlyOursIsSafe);
    row.Compare(
        "write", write, "WritePrivateProfileStringW", [&] { writeProfileTo(fullPath); }, "0.33", kOnlyOursIsSafe);
    const auto writeSimpleIniSafely = [&] {
        writeSimpleIniTo(kTemporary);
        PutInPlace(kUtf8File);
    };
    wchar_t fullTemporary[MAX_PATH];
    GetFullPathNameW(kTemporary, MAX_PATH, fullTemporary, nullptr);
    const auto writeProfileSafely = [&] {
        Check(CopyFileW(kFile, kTemporary, FALSE), "copying a file");
        writeProfileTo(fullTemporary);
        PutInPlace(kFile);
    };
    row.Compare("write", write, "SimpleIni, flushed and put in place", writeSimpleIniSafely, "faster", "");
    row.Compare("write", write, "WritePrivateProfileStringW, likewise", writeProfileSafely, "faster",
                "it changes a copy of the file");
    row.Print("memory to write", "the file", PeakOver(bytes, write), "3", "beside the content that was read");
    if (bytes < 64 << 20) {
        const auto render = [&] { file.Text().Render(); };
        const auto renderSimpleIni = [&] {
            std::string text;
            simpleIni.Save(text);
        };
        row.Compare("text", render, "SimpleIni", renderSimpleIni, "0.33", "without the file");
    }
    for (const wchar_t* const path : {kFile, kUtf8File, kWritten, kTemporary}) {
        DeleteFileW(path);
    }
}

} // namespace

int main()
{
    for (const std::size_t bytes : {std::size_t{10} << 10, std::size_t{1} << 20, std::size_t{64} << 20}) {
        MeasureSize(bytes);
    }
    return 0;
}
