#pragma once

/// What this thread has allocated with malloc or new.
extern thread_local long allocations;

/// Counts down with each allocation that libqm's own code makes with malloc; the one that takes it to 0
/// fails.
extern int allocationsUntilFailure;
