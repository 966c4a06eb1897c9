// The one way to create a child process: no window, a job of its own, exactly the handles meant for it.
#pragma once

#include <windows.h>

#include <string>

#include "base/handle.h"

namespace moorlak {

struct ChildOptions {
  // Full path of the program; empty: the system finds the first word of the command line.
  std::wstring application;
  std::wstring commandLine;
  // Empty: the folder of this process.
  std::wstring workingFolder;
  // Not owned. Null: the child runs as this process does. A primary token otherwise; the child then gets a window
  // station of its own account (CreateProcessAsUserW of Microsoft Learn, lpDesktop an empty text) and this process's
  // environment.
  HANDLE token = nullptr;
  // True: the child gets the three handles below, not owned here, and inherits these only. One that is null, invalid or
  // not inheritable reaches the child as null. False: the child inherits no handle at all.
  bool redirected = false;
  HANDLE standardInput = nullptr;
  HANDLE standardOutput = nullptr;
  HANDLE standardError = nullptr;
};

// Closing the job, by the destructor or by the end of this process, ends the child and all it started.
struct ChildProcess {
  KernelHandle process;
  KernelHandle thread;
  KernelHandle job;
  DWORD id = 0;
};

// ERROR_SUCCESS, or the system error number of the call that failed; then no child runs. A child that cannot be put
// into a job is not started: nothing may outlive the service that could still change the machine. The child is in the
// job from its creation on (PROC_THREAD_ATTRIBUTE_JOB_LIST of Microsoft Learn), so that a crash at any moment ends it
// and nothing it starts can stand outside.
DWORD StartChild(const ChildOptions& options, ChildProcess& child);

// Terminates the child and all it started; does not wait for their end.
void TerminateChild(const ChildProcess& child, UINT exitCode) noexcept;

// An anonymous pipe for a child's output: only the write end is inheritable.
struct OutputPipe {
  KernelHandle readEnd;
  KernelHandle writeEnd;
};

// Size is the number of bytes that can be written before anybody reads; 0 is the system's default. False when the pipe
// cannot be created; both ends are empty then.
bool CreateOutputPipe(OutputPipe& pipe, DWORD size);

// Reads what is there, at most so many bytes, and waits for nothing: somebody who inherited the write end may hold it
// open for ever.
std::string ReadAvailable(HANDLE readEnd, size_t mostBytes);

}  // namespace moorlak
