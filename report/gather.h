#pragma once

#include "base/session.h"
#include "report/model.h"

class t_runtime;

namespace n_report {

// Gathers the whole report, findings included. Nothing is written anywhere: keys and files are opened for reading, no
// hive is loaded, the shared error list keeps its entries. What a section cannot see, since the program is not elevated
// or the system refuses, that section says.
t_report GatherReport();

// The sections. Each can be gathered alone.
//   runtime  initialised, as far as that succeeded
//   queued   every file operation that waits for a restart
t_system GatherSystem(const t_runtime& runtime);
t_product GatherProduct(t_runtime& runtime, const t_pendingOperations& queued);
t_list<t_module> GatherModules(const t_pendingOperations& queued);
t_layouts GatherLayouts();
//   layouts  names the text services
t_lists GatherLists(const t_layouts& layouts);
t_messages GatherMessages(const t_runtime& runtime);

} // namespace n_report
