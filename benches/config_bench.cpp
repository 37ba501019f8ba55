// Configuration files beside SimpleIni and the system's profile functions.
#include <windows.h>

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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

namespace {

constexpr wchar_t kFile[] = L"config_bench.ini";
constexpr wchar_t kUtf8File[] = L"config_bench_utf8.ini";
constexpr wchar_t kWritten[] = L"config_bench_written.ini";

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

void MeasureSize(std::size_t bytes)
{
    const n_bench::t_sample sample = n_bench::MakeSample((bytes - 2) / 2);
    constexpr double seconds = 0.8;
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
    char row[64], remark[96];
    std::snprintf(row, sizeof(row), "configuration, read %s", NameOf(bytes));
    n_bench::t_measured measured = n_bench::Measure(read, readSimpleIni, seconds);
    std::snprintf(remark, sizeof(remark), "%.2f ms to %.2f ms, which reads UTF-8 of half the size",
                  measured.subject * 1000, measured.peer * 1000);
    n_bench::PrintRow(row, "SimpleIni", measured.Ratio(), "0.33", remark);
    measured = n_bench::Measure(read, readProfile, seconds);
    std::snprintf(remark, sizeof(remark), "%.2f ms to %.2f ms", measured.subject * 1000, measured.peer * 1000);
    n_bench::PrintRow(row, "GetPrivateProfileStringW", measured.Ratio(), "0.33", remark);
    std::snprintf(row, sizeof(row), "configuration, memory to read %s", NameOf(bytes));
    std::snprintf(remark, sizeof(remark), "SimpleIni: %.1f times", PeakOver(bytes / 2, readSimpleIni));
    n_bench::PrintRow(row, "the file", PeakOver(bytes, read), "3", remark);

    n_config::t_configFile file;
    CSimpleIniW simpleIni(true);
    Check(file.Load(errors, kFile) && simpleIni.LoadFile(kUtf8File) == SI_OK, "loading");
    const auto write = [&] { Check(file.Save(errors, kWritten), "Save"); };
    const auto writeSimpleIni = [&] { Check(simpleIni.SaveFile(kUtf8File, false) == SI_OK, "SimpleIni's SaveFile"); };
    const auto writeProfile = [&, number = 0]() mutable {
        const std::wstring value = std::to_wstring(++number); // one that is there already is not written
        Check(WritePrivateProfileStringW(sample.section.c_str(), sample.key.c_str(), value.c_str(), fullPath),
              "WritePrivateProfileStringW");
    };
    std::snprintf(row, sizeof(row), "configuration, write %s", NameOf(bytes));
    measured = n_bench::Measure(write, writeSimpleIni, seconds);
    std::snprintf(remark, sizeof(remark),
                  "%.2f ms to %.2f ms; ours is on the disk, and replaces the old file in one step",
                  measured.subject * 1000, measured.peer * 1000);
    n_bench::PrintRow(row, "SimpleIni", measured.Ratio(), "0.33", remark);
    measured = n_bench::Measure(write, writeProfile, seconds);
    std::snprintf(remark, sizeof(remark), "%.2f ms to %.2f ms", measured.subject * 1000, measured.peer * 1000);
    n_bench::PrintRow(row, "WritePrivateProfileStringW", measured.Ratio(), "0.33", remark);
    std::snprintf(row, sizeof(row), "configuration, memory to write %s", NameOf(bytes));
    n_bench::PrintRow(row, "the file", PeakOver(bytes, write), "3", "beside the content that was read");
    const auto render = [&] { file.Text().Render(); };
    const auto renderSimpleIni = [&] {
        std::string text;
        simpleIni.Save(text);
    };
    measured = n_bench::Measure(render, renderSimpleIni, seconds / 2);
    std::snprintf(row, sizeof(row), "configuration, text of %s", NameOf(bytes));
    std::snprintf(remark, sizeof(remark), "%.2f ms to %.2f ms; without the file", measured.subject * 1000,
                  measured.peer * 1000);
    n_bench::PrintRow(row, "SimpleIni", measured.Ratio(), "0.33", remark);
    for (const wchar_t* const path : {kFile, kUtf8File, kWritten}) {
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
