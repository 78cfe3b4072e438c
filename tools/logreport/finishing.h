// What can be said of an installation only when the whole log is read.
#pragma once

#include "tools/logreport/model.h"

namespace logreport {

// Settles which action failed first, and leaves out the runs of deferred actions that
// only scheduled them.
void FinishInstallation(Installation& installation);

} // namespace logreport
