// What the report reads of hostile values and files; the first byte chooses which.
#include "base/image_code.h"
#include "base/pending_list.h"
#include "base/shell_command.h"
#include "report/log_tail.h"
#include "report/stored_text.h"
#include "report/utf8.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const std::span bytes(data + 1, size - 1);
    const t_str text = ToUnits(data + 1, size - 1);
    std::uint32_t klid = 0;
    t_shellCommand command;
    const auto exists = [](const t_path& path) { return path.size() % 3 == 0; };
    if (const t_imageFile image(bytes); *data == 'i') {
        const std::uint32_t address = image.FindFunction("Known");
        Check(image.IsValid() || address == 0);
        Check(image.ReadFunction(address, 0x7FF612340000).size() <= t_imageFile::kMaxFunctionBytes);
    } else if (*data == 'p') {
        const t_pendingOperations operations = ReadPendingList(text);
        for (const t_pendingOperation& operation : operations) {
            std::size_t removed = 0;
            const std::wstring rest = RemoveFromPendingList(text, operation.source, removed);
            Check(ReadPendingList(rest).size() + removed == operations.size());
            Check(removed > 0 || operation.source.empty());
        }
    } else if (*data == 's' && SplitShellCommand(text, exists, command)) {
        Check(command.program.size() > 6 && command.program[1] == L':' && command.program.size() < 260);
        Check(command.program.size() + command.arguments.size() <= text.size() + 4); // ".exe" may have been added
    } else if (*data == 'l') {
        Check(n_report::LastLines({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, false, 3).size() <= 3);
    } else {
        Check(n_report::ReadPreloadText(L"1", *data, bytes, klid).text.size() <= bytes.size() / 2);
        Check(n_report::ToUtf8(text).size() <= 3 * text.size());
    }
    return 0;
}
