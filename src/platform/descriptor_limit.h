#pragma once

/// Raises the soft limit of open descriptors to the hard one, and answers what it is then.
long raiseDescriptorLimit();
