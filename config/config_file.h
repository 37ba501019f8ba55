#pragma once

#include <map>
#include <string>

#include "config/cipher.h"
#include "config/config_text.h"
#include "config/stored_file.h"
#include "diag/error_chain.h"

namespace n_config {

// A configuration file: its text, and in subclasses the typed items of a schema.
//
// A single key of any such file: Load, then Text().FindValue(L"section", L"key").
class t_configFile
{
public:
    //   cipherToUse  for a file that is stored enciphered, in code page 936; must outlive this object; null for a plain
    //                file, which is stored as UTF-16
    explicit t_configFile(t_cipher* cipherToUse = nullptr) : cipher(cipherToUse) {}
    t_configFile(const t_configFile&) = delete;
    t_configFile& operator=(const t_configFile&) = delete;
    virtual ~t_configFile() = default;

    // Reads a file. A plain file is UTF-16 behind its mark, UTF-8 with or without one, or else code
    // page 936. Lines that are no comment, header or key line are left out.
    //   path      not null
    //   maxBytes  a larger file fails
    // On failure the text is empty, every item has its default, and the chain has "无法打开ini文件", "无法读取ini文件",
    // "无法读取ini文件:分配内存失败" or "无法解析ini文件", behind the system error where there is one.
    bool Load(t_errorChain& errors, const wchar_t* path, std::size_t maxBytes = kMaxFileBytes);

    // Writes the items into the text and stores it, at most 64 MiB. The file has its old content until the new one is
    // complete; it is replaced and not rewritten, so its owner and its other names stay behind. Where the folder's
    // rights refuse that, it is written into while another file keeps its old content (see ReplaceStoredFile).
    //   path  not null
    // A file that a Load found but could not read is refused, whatever other files are loaded and saved, until a Load
    // of the same path reads it or finds none: its content would be lost. One that could be read but not decoded is
    // moved aside as "NAME.bad". On failure the stored file is as it was, but for its attributes, and the chain has
    // "保存ini文件失败:转换失败" when code page 936 lacks a character, "保存ini文件失败:加密失败" when the cipher
    // refuses, or the system error and "保存ini文件失败:" with the path; behind them, when the old content could not be
    // put back, "旧内容保存在:" with the path of the file that keeps it. Behind it: CreateFileW, WriteFile,
    // MoveFileExW.
    [[nodiscard]] bool Save(t_errorChain& errors, const wchar_t* path);

    t_configText& Text() { return text; }
    const t_configText& Text() const { return text; }

protected:
    // Take the values of all items from the text, and put them into it.
    virtual void ReadItems() {}
    virtual void WriteItems() {}

private:
    // Why the content of a file is not the one that this object holds.
    enum class t_loss
    {
        unread,
        undecoded,
    };

    bool ReadText(t_errorChain& errors, const wchar_t* path, std::size_t maxBytes, t_loss& loss);
    bool Encipher(t_errorChain& errors, std::wstring_view rendered, std::string& bytes);

    t_cipher* cipher;
    t_configText text;
    // Of the files whose last Load failed, by their paths without letter case. Texts are compared: a program composes
    // the path of a file once, and to tell whether two spellings name one file it would have to be opened.
    std::map<std::wstring, t_loss> losses;
};

} // namespace n_config
