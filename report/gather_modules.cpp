#include "base/system_directory.h"
#include "catalogue/product_ime_file.h"
#include "report/described_errors.h"
#include "report/file_facts.h"
#include "report/gather.h"

namespace n_report {

t_list<t_module> GatherModules(const t_pendingOperations& queued)
{
    t_list<t_module> modules;
    t_path systemDirectory;
    ReadSystemDirectory(systemDirectory);
    for (const wchar_t* const name : {kClassicImeFile, kTextServiceImeFile}) {
        const t_path path = JoinPath(systemDirectory, name);
        t_module module;
        module.file = ReadSignedFile(path);
        t_errorChain errors;
        std::size_t unseen = 0;
        if (!FindProgramsHolding(errors, path, module.holders, unseen)) {
            module.unseen.push_back(DescribeErrors(errors));
        } else if (unseen != 0) {
            module.unseen.push_back(FormatStr(L"what %u programs of other users or the system have loaded",
                                              static_cast<std::uint32_t>(unseen)));
        }
        for (const t_pendingOperation& operation : queued) {
            if (ConcernsPath(operation, path)) {
                module.pending.push_back(operation);
            }
        }
        modules.push_back(std::move(module));
    }
    return modules;
}

} // namespace n_report
