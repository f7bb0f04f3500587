#pragma once

/// Raises the soft limit of open descriptors to the hard one, and answers what it is then.
long raiseDescriptorLimit();

/// The soft limit that the process was started with, for other programs that it starts: those that use
/// select would fail above 1024 descriptors. Any thread.
unsigned long startingDescriptorLimit();
