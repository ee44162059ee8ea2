// Temporary files that a signal must not leave behind: the programs remove
// every registered one on SIGINT and SIGTERM before they end.
#pragma once

namespace sigillo {

// Registers `name` (relative to the folder descriptor `dirFd`, AT_FDCWD for
// the working folder); returns the registration to forget, or -1 when every
// slot is taken (the file is then only removed by its owner or a later writer).
int registerTemporary(int dirFd, const char* name);
// The file was removed or put in place by its owner.
void forgetTemporary(int registration);
// Makes SIGINT and SIGTERM remove the registered files, then end the process
// as the signal would have.
void removeTemporariesOnSignals();

}  // namespace sigillo
