// The only way to create a child process: no window, its own job, exactly the handles meant for it.
#pragma once

#include <windows.h>

#include <string>

#include "base/handle.h"

namespace moorlak {

struct ChildOptions {
  // Full path of the program; if empty, the system searches for the first word of the command line.
  std::wstring application;
  std::wstring commandLine;
  // If empty, this process's folder.
  std::wstring workingFolder;
  // Not owned. If null, the child runs as this process does. Otherwise a primary token; the child then gets a window
  // station of its own account ("CreateProcessAsUserW" on Microsoft Learn, lpDesktop an empty text) and this process's
  // environment.
  HANDLE token = nullptr;
  // If true, the child gets the three handles below (not owned) and inherits only these; one that is null, invalid or
  // not inheritable is null in the child. If false, the child inherits no handle.
  bool redirected = false;
  HANDLE standardInput = nullptr;
  HANDLE standardOutput = nullptr;
  HANDLE standardError = nullptr;
};

// Closing the job, by the destructor or by the end of this process, ends the child and everything it started.
struct ChildProcess {
  KernelHandle process;
  KernelHandle thread;
  KernelHandle job;
  DWORD id = 0;
};

// ERROR_SUCCESS, or the error of the call that failed; then no child runs. A child that cannot be put into a job is not
// started: nothing that could still change the machine may outlive the service. The child is in the job from its
// creation ("PROC_THREAD_ATTRIBUTE_JOB_LIST" on Microsoft Learn), so a crash at any moment ends it, and nothing it
// starts can be outside the job.
DWORD StartChild(const ChildOptions& options, ChildProcess& child);

// Terminates the child and everything it started; does not wait for their end.
void TerminateChild(const ChildProcess& child, UINT exitCode) noexcept;

// An anonymous pipe for a child's output: only the write end is inheritable.
struct OutputPipe {
  KernelHandle readEnd;
  KernelHandle writeEnd;
};

// Size is the number of bytes that can be written before anyone reads; 0 is the system's default. False if the pipe
// cannot be created; both ends are empty then.
bool CreateOutputPipe(OutputPipe& pipe, DWORD size);

// Non-blocking; reads at most maxBytes. Must not wait: a grandchild may keep the write end open.
std::string ReadAvailable(HANDLE readEnd, size_t maxBytes);

}  // namespace moorlak
