#include "diag/message_box.h"

#include <imm.h>

#include <memory>

#include "base/handles.h"
#include "base/module_path.h"
#include "diag/join.h"

namespace {

struct t_messageBlock
{
    HWND owner;
    wchar_t caption[1024];
    wchar_t text[kMessageTextUnits];
};

void FreeBlock(t_messageBlock* block)
{
    GlobalFree(block);
}

using t_blockOwner = ImmUnique<t_messageBlock*, &FreeBlock>;

t_blockOwner AllocateBlock()
{
    return t_blockOwner(static_cast<t_messageBlock*>(GlobalAlloc(GPTR, sizeof(t_messageBlock))));
}

DWORD WINAPI ShowBlock(void* parameter)
{
    const t_blockOwner block(static_cast<t_messageBlock*>(parameter));
    // The host may be the input method itself: its own error box must not start it again on this thread.
    ImmDisableIME(GetCurrentThreadId());
    MessageBoxW(block.Get()->owner, block.Get()->text, block.Get()->caption, MB_OK);
    return 0;
}

} // namespace

void JoinLines(t_errorChain& chain, std::span<wchar_t> buffer, bool withProcessName)
{
    t_path program;
    if (withProcessName) {
        ReadModulePath(nullptr, program);
    }
    const std::wstring name(FileNamePart(program));
    JoinLinesNaming(chain, buffer, withProcessName ? name.c_str() : nullptr);
}

void ShowMessageBox(t_errorChain& chain)
{
    const auto text = std::make_unique<wchar_t[]>(kMessageTextUnits);
    JoinLines(chain, std::span(text.get(), kMessageTextUnits), false);
    if (text[0] != L'\0') {
        MessageBoxW(nullptr, text.get(), kErrorCaption, MB_OK);
    }
}

void ShowMessageBoxAsync(t_errorChain& chain, HWND owner, const wchar_t* caption, bool withProcessName)
{
    t_blockOwner block = AllocateBlock();
    if (!block) {
        return;
    }
    block.Get()->owner = owner;
    lstrcpynW(block.Get()->caption, caption != nullptr ? caption : kErrorCaption, ARRAYSIZE(block.Get()->caption));
    JoinLines(chain, block.Get()->text, withProcessName);
    if (block.Get()->text[0] == L'\0') {
        return;
    }
    const t_handle thread(CreateThread(nullptr, 0, &ShowBlock, block.Get(), 0, nullptr));
    if (thread) {
        block.Release();
    }
}
