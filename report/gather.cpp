#include "report/gather.h"

#include "base/pending_files.h"
#include "base/singleton.h"
#include "report/described_errors.h"
#include "report/findings.h"
#include "runtime/runtime.h"

namespace n_report {

namespace {

// Looks for the installation where the registry says, and else beside this program.
constexpr std::uint32_t kRegisteredOrOwnFolder = 2;

} // namespace

t_report GatherReport()
{
    t_report report;
    t_texts unseen;
    t_errorChain errors;
    t_runtime& runtime = *ImmSingleton<t_runtime>::Instance();
    runtime.SetInstallPathMode(kRegisteredOrOwnFolder);
    if (!runtime.Initialise(errors)) {
        unseen.push_back(DescribeErrors(errors));
    }
    errors.Clear();
    t_pendingOperations queued;
    if (!ListPendingOperations(errors, queued)) {
        unseen.push_back(DescribeErrors(errors));
    }

    report.system = GatherSystem(runtime);
    report.product = GatherProduct(runtime, queued);
    report.product.unseen = std::move(unseen);
    report.modules = GatherModules(queued);
    report.layouts = GatherLayouts();
    report.lists = GatherLists(report.layouts);
    report.messages = GatherMessages(runtime);
    report.findings = Judge(report);
    return report;
}

} // namespace n_report
