#include "app/action_options.h"

#include "app/option_scanner.h"

namespace {

constexpr t_longOption kLongOptions[] = {
    {L"install", kNoArgument, nullptr, 'i'}, {L"uninstall", kNoArgument, nullptr, 'u'},
    {L"debug", kNoArgument, nullptr, 'd'},   {L"copy", kNoArgument, nullptr, 'c'},
    {L"delete", kNoArgument, nullptr, 'e'},  {},
};

} // namespace

bool ParseActionOptions(std::int32_t argc, wchar_t** argv, t_actionMode* mode)
{
    t_optionState state;
    state.argumentCount = argc;
    state.arguments = argv;
    state.optionString = L"iudce";
    state.longOptions = kLongOptions;
    for (;;) {
        switch (GetOptionNext(state)) {
        case kOptionsEnd:
            return true;
        case kBadOption:
            break;
        case 'c':
            *mode = t_actionMode::Copy;
            return true;
        case 'e':
            *mode = t_actionMode::Delete;
            return true;
        case 'd':
            *mode = t_actionMode::Debug;
            break;
        case 'i':
            *mode = t_actionMode::Install;
            break;
        case 'u':
            *mode = t_actionMode::Uninstall;
            break;
        default:
            return false;
        }
    }
}
