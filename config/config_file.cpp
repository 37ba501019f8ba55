#include "config/config_file.h"

#include <windows.h>

#include <new>
#include <utility>

#include "base/ascii_case.h"
#include "base/directory.h"
#include "base/perf.h"
#include "config/code_page.h"
#include "config/encoding.h"

namespace n_config {

namespace {

// Code page 936 has no byte-order mark: converted with the text, it is stored as this.
constexpr char kConvertedMark = '?';

constexpr std::wstring_view kUtf16Mark = L"\uFEFF";

bool Decipher(t_fileContent content, t_cipher& cipher, std::string& bytes)
{
    bytes = content.Bytes();
    content = {}; // a file may be large
    return cipher.Decipher(bytes);
}

bool Decode(t_fileContent content, t_cipher* cipher, std::wstring& decoded)
{
    if (cipher != nullptr) {
        std::string bytes;
        // A stored text begins with a comment, a header or nothing, so this character can only be the mark.
        return Decipher(std::move(content), *cipher, bytes) &&
               DecodeCodePage936(std::string_view(bytes).substr(bytes.starts_with(kConvertedMark) ? 1 : 0), decoded);
    }
    const std::string_view bytes = content.Bytes();
    const t_decoded result = DecodeText(bytes, decoded);
    return result == t_decoded::text || (result == t_decoded::codePage936 && DecodeCodePage936(bytes, decoded));
}

} // namespace

bool t_configFile::Load(t_errorChain& errors, const wchar_t* path, std::size_t maxBytes)
{
    const t_perfSection perf(t_perfKind::section, L"ReadConfig");
    // First of all, since later there may be no memory for it.
    const auto loss = losses.insert_or_assign(FoldCase(path), t_loss::unread).first;
    try {
        if (ReadText(errors, path, maxBytes, loss->second)) {
            ReadItems();
            losses.erase(loss);
            return true;
        }
    } catch (const std::bad_alloc&) {
        text.Clear(); // first of all: the message needs memory too
        errors.Fail(L"无法解析ini文件");
    }
    text.Clear();
    ReadItems();
    // Content that was read was there, whatever the system says now.
    if (loss->second == t_loss::unread && IsMissing(path)) {
        losses.erase(loss);
    }
    return false;
}

bool t_configFile::ReadText(t_errorChain& errors, const wchar_t* path, std::size_t maxBytes, t_loss& loss)
{
    t_fileContent content;
    if (!ReadStoredFile(errors, path, content, maxBytes)) {
        return false;
    }
    if (const auto units = cipher == nullptr ? ViewUnits(content.Bytes()) : std::nullopt) {
        text.Parse(std::move(content.memory), *units);
        return true;
    }
    std::wstring decoded;
    if (!Decode(std::move(content), cipher, decoded)) {
        loss = t_loss::undecoded;
        return errors.Fail(L"无法解析ini文件");
    }
    text.Parse(std::move(decoded));
    return true;
}

bool t_configFile::Save(t_errorChain& errors, const wchar_t* path)
{
    const t_perfSection perf(t_perfKind::section, L"WriteConfig");
    try {
        const auto loss = losses.find(FoldCase(path));
        if (loss != losses.end() && loss->second == t_loss::unread) {
            return errors.Fail(L"保存ini文件失败:%s", path);
        }
        WriteItems();
        // Units of UTF-16 are stored as they lie in memory.
        const std::wstring rendered = text.Render(cipher == nullptr ? kUtf16Mark : std::wstring_view());
        std::string_view bytes(reinterpret_cast<const char*>(rendered.data()), rendered.size() * sizeof(wchar_t));
        std::string enciphered;
        if (cipher != nullptr) {
            if (!Encipher(errors, rendered, enciphered)) {
                return false;
            }
            bytes = enciphered;
        }
        if (!ReplaceStoredFile(errors, path, bytes,
                               loss != losses.end() ? t_oldContent::setAside : t_oldContent::replaced)) {
            return false;
        }
        if (loss != losses.end()) {
            losses.erase(loss);
        }
        return true;
    } catch (const std::bad_alloc&) {
        return errors.Fail(L"保存ini文件失败:分配内存失败");
    }
}

bool t_configFile::Encipher(t_errorChain& errors, std::wstring_view rendered, std::string& bytes)
{
    if (!EncodeCodePage936(rendered, bytes)) {
        return errors.Fail(L"保存ini文件失败:转换失败");
    }
    bytes.insert(bytes.begin(), kConvertedMark);
    return cipher->Encipher(bytes) || errors.Fail(L"保存ini文件失败:加密失败");
}

} // namespace n_config
