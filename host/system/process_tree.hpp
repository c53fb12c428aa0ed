/// Processes and what they have started.
#pragma once

#include <sys/types.h>

namespace saddlefit::host {

/// From now on, processes whose parents among this one's descendants have died are its own
/// children, so that endProcessTree() meets them below it (on Linux).
void adoptOrphans();

/// End a child of this process that leads a process group, the group, and all that descends from
/// the child, in whatever group or session (on Linux), and wait for it. Gives its status as
/// waitpid() does.
int endProcessTree(pid_t child);

} // namespace saddlefit::host
