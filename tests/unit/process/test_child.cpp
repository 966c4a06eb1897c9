// A child process for tests. It does what its arguments say, in order, and then exits with 0:
//   out=TEXT err=TEXT   write the text to a stream; \n and \r in it are line breaks
//   bytes=N             write N times "x" to standard output
//   env=NAME cwd cmdline startup streams input-value   print one property to standard output
//   echo                copy standard input to standard output
//   to=FILE             write all further output to a file instead of standard output
//   set=VALUE           set the event whose handle has this value here, if there is one
//   hold=NAME           take a named mutex and keep it until the process ends
//   signal=NAME wait=NAME   set or await a named event
//   spawn=ACTIONS spawn-inheriting=ACTIONS   start another test child and continue
//   note=TEXT           do nothing
//   sleep exit=N
// If it is started like an engine, it reads its actions from a file, one per line: the one after "-config" or
// "run -test -config", or, after "-device", "actions.txt" in the current folder. If it is queried for counters ("api
// statsquery"), it reads them from "api_actions.txt" next to itself.
#include <windows.h>
#include <shellapi.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

std::string Narrow(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, narrow.data(), size, nullptr, nullptr);
  return narrow;
}

std::wstring Widen(std::string_view text) {
  const int length = static_cast<int>(text.size());
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), size);
  return wide;
}

void Write(DWORD stream, std::string_view text) {
  DWORD written = 0;
  WriteFile(GetStdHandle(stream), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void Tell(std::string_view text) {
  Write(STD_OUTPUT_HANDLE, std::string(text) + "\n");
}

std::string Unescaped(std::string text) {
  for (const auto& [escape, replacement] : {std::pair{"\\n", "\n"}, std::pair{"\\r", "\r"}}) {
    for (size_t at = text.find(escape); at != std::string::npos; at = text.find(escape, at)) {
      text.replace(at, 2, replacement);
    }
  }
  return text;
}

void PrintEnvironment(const std::wstring& name) {
  wchar_t value[1024];
  const DWORD length = GetEnvironmentVariableW(name.c_str(), value, 1024);
  Tell(Narrow(name) + (length == 0 ? " unset" : "=" + Narrow({value, length})));
}

void PrintCurrentFolder() {
  wchar_t folder[1024];
  Tell("cwd=" + Narrow({folder, GetCurrentDirectoryW(1024, folder)}));
}

void PrintStartup() {
  STARTUPINFOW startup{};
  GetStartupInfoW(&startup);
  Tell("startup flags=" + std::to_string(startup.dwFlags) + " show=" + std::to_string(startup.wShowWindow));
}

// The value that the parent passed: the system may replace an unusable handle with another one.
void PrintInputValue() {
  STARTUPINFOW startup{};
  GetStartupInfoW(&startup);
  Tell(std::to_string(reinterpret_cast<uintptr_t>(startup.hStdInput)));
}

void PrintStreams() {
  std::string text = "streams";
  for (const DWORD stream : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    const DWORD type = GetFileType(GetStdHandle(stream));
    text += type == FILE_TYPE_PIPE ? " pipe" : type == FILE_TYPE_DISK ? " disk" : " other";
  }
  Tell(text);
}

void Echo() {
  char chunk[512];
  DWORD got = 0;
  while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), chunk, sizeof(chunk), &got, nullptr) && got > 0) {
    Write(STD_OUTPUT_HANDLE, {chunk, got});
  }
}

void WriteBytes(size_t count) {
  const std::string block(10000, 'x');
  while (count > 0) {
    const size_t part = count < block.size() ? count : block.size();
    Write(STD_OUTPUT_HANDLE, std::string_view(block).substr(0, part));
    count -= part;
  }
}

void Spawn(const std::wstring& actions, bool inheriting) {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
  std::wstring commandLine = L"\"" + path + L"\" " + actions;
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION created{};
  if (!CreateProcessW(path.c_str(), commandLine.data(), nullptr, nullptr, inheriting, 0, nullptr, nullptr, &startup,
                      &created)) {
    ExitProcess(99);
  }
  CloseHandle(created.hThread);
  CloseHandle(created.hProcess);
}

void Hold(const std::wstring& name) {
  WaitForSingleObject(OpenMutexW(SYNCHRONIZE, FALSE, name.c_str()), INFINITE);
}

void RedirectOutput(const std::wstring& path) {
  SetStdHandle(STD_OUTPUT_HANDLE, CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
}

void PerformOnNames(std::wstring_view verb, const std::wstring& value) {
  if (verb == L"env") PrintEnvironment(value);
  if (verb == L"to") RedirectOutput(value);
  if (verb == L"set") SetEvent(reinterpret_cast<HANDLE>(std::stoull(value)));
  if (verb == L"hold") Hold(value);
  if (verb == L"signal") SetEvent(OpenEventW(EVENT_MODIFY_STATE, FALSE, value.c_str()));
  if (verb == L"wait") WaitForSingleObject(OpenEventW(SYNCHRONIZE, FALSE, value.c_str()), INFINITE);
  if (verb == L"spawn") Spawn(value, false);
  if (verb == L"spawn-inheriting") Spawn(value, true);
}

void Perform(const std::wstring& action) {
  const size_t equals = action.find(L'=');
  const std::wstring verb = action.substr(0, equals);
  const std::wstring value = equals == std::wstring::npos ? std::wstring() : action.substr(equals + 1);
  if (verb == L"out") Write(STD_OUTPUT_HANDLE, Unescaped(Narrow(value)));
  if (verb == L"err") Write(STD_ERROR_HANDLE, Unescaped(Narrow(value)));
  if (verb == L"bytes") WriteBytes(std::stoull(value));
  if (verb == L"cwd") PrintCurrentFolder();
  if (verb == L"cmdline") Tell("cmdline=" + Narrow(GetCommandLineW()));
  if (verb == L"startup") PrintStartup();
  if (verb == L"streams") PrintStreams();
  if (verb == L"input-value") PrintInputValue();
  if (verb == L"echo") Echo();
  if (verb == L"sleep") Sleep(INFINITE);
  if (verb == L"exit") ExitProcess(static_cast<UINT>(std::stoul(value)));
  PerformOnNames(verb, value);
}

std::vector<std::wstring> ActionsOfFile(const wchar_t* path) {
  std::string text(65536, '\0');
  HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  DWORD got = 0;
  if (!ReadFile(file, text.data(), static_cast<DWORD>(text.size()), &got, nullptr)) ExitProcess(98);
  CloseHandle(file);
  text.resize(got);
  std::vector<std::wstring> actions;
  for (size_t begin = 0; begin < text.size();) {
    size_t end = text.find('\n', begin);
    if (end == std::string::npos) end = text.size();
    actions.push_back(Widen(std::string_view(text).substr(begin, end - begin)));
    begin = end + 1;
  }
  return actions;
}

std::vector<std::wstring> ActionsOfQuery() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
  return ActionsOfFile((path.substr(0, path.rfind(L'\\') + 1) + L"api_actions.txt").c_str());
}

}  // namespace

int main() {
  int count = 0;
  wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::wstring> actions(arguments + 1, arguments + count);
  if (actions.size() > 1 && actions[0] == L"-config") actions = ActionsOfFile(arguments[2]);
  if (actions.size() > 3 && actions[0] == L"run" && actions[1] == L"-test") actions = ActionsOfFile(arguments[4]);
  if (!actions.empty() && actions[0] == L"-device") actions = ActionsOfFile(L"actions.txt");
  if (actions.size() > 1 && actions[0] == L"api" && actions[1] == L"statsquery") actions = ActionsOfQuery();
  for (const std::wstring& action : actions) Perform(action);
  return 0;
}
