#pragma once

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// An empty directory of this process's own for the life of a test.
class t_scratchDirectory
{
public:
    t_scratchDirectory()
        : root(std::filesystem::temp_directory_path() / (L"tarvo_test_" + std::to_wstring(GetCurrentProcessId())))
    {
        std::filesystem::remove_all(root);
        std::filesystem::create_directories(root);
    }
    ~t_scratchDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    t_scratchDirectory(const t_scratchDirectory&) = delete;
    t_scratchDirectory& operator=(const t_scratchDirectory&) = delete;

    std::wstring Path(const std::wstring& name = {}) const
    {
        return name.empty() ? root.wstring() : (root / name).wstring();
    }

    // The bytes of a file; its directories are made when it is written. One that is missing reads as empty.
    void Write(const std::wstring& name, const std::string& bytes) const
    {
        std::filesystem::create_directories((root / name).parent_path());
        std::ofstream(root / name, std::ios::binary) << bytes;
    }
    std::string Read(const std::wstring& name) const
    {
        std::ifstream file(root / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path root;
};
