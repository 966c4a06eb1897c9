#include "process/engine_token.h"

#include <string>
#include <utility>

#include "base/trust.h"

namespace moorlak {
namespace {

constexpr wchar_t kLocalServiceSid[] = L"S-1-5-19";

// A token, or why there is none.
struct TokenResult {
  KernelHandle token;
  std::string failure;
};

std::string Failed(const char* call) {
  const DWORD error = GetLastError();
  return std::string(call) + " failed, error " + std::to_string(error);
}

// Without its privileges, except the one that every account has: traversing folders.
TokenResult WithoutPrivileges(const KernelHandle& token) {
  TokenResult result;
  if (!CreateRestrictedToken(token.Get(), DISABLE_MAX_PRIVILEGE, 0, nullptr, 0, nullptr, 0, nullptr,
                             result.token.Out())) {
    result.failure = Failed("CreateRestrictedToken");
  }
  return result;
}

TokenResult LocalServiceToken() {
  HANDLE logon = nullptr;
  if (!LogonUserW(L"LocalService", L"NT AUTHORITY", nullptr, LOGON32_LOGON_SERVICE, LOGON32_PROVIDER_DEFAULT, &logon)) {
    return {{}, Failed("LogonUserW")};
  }
  const std::wstring user = TokenUserSid(logon);
  // Some systems report success with an invalid handle, which must not even be closed.
  const KernelHandle token(user.empty() ? nullptr : logon);
  if (user != kLocalServiceSid) return {{}, "LogonUserW gave no token of that account"};
  return WithoutPrivileges(token);
}

TokenResult OwnToken() {
  KernelHandle token;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY | TOKEN_ASSIGN_PRIMARY, token.Out())) {
    return {{}, Failed("OpenProcessToken")};
  }
  return WithoutPrivileges(token);
}

// Gets the token of the chosen rights, or of the next ones. Without a token the rights are the service's own.
void ObtainToken(EngineAccount& account) {
  while (!account.token && account.choice.rights != EngineRights::Own) {
    TokenResult result = account.choice.rights == EngineRights::LocalService ? LocalServiceToken() : OwnToken();
    if (result.token) {
      account.token = std::make_shared<const KernelHandle>(std::move(result.token));
    } else {
      StepDown(account.choice, result.failure);
    }
  }
}

}  // namespace

DWORD StartChildAs(EngineAccount& account, const ChildOptions& options, ChildProcess& child) {
  for (;;) {
    ObtainToken(account);
    if (!account.token) return StartChild(options, child);
    ChildOptions withToken = options;
    withToken.token = account.token->Get();
    const DWORD error = StartChild(withToken, child);
    if (error == ERROR_SUCCESS) return error;
    account.token.reset();
    StepDown(account.choice, "CreateProcessAsUserW failed, error " + std::to_string(error));
  }
}

void TakeOwnRights(EngineAccount& account, std::string_view reason) {
  account.token.reset();
  TakeOwnRights(account.choice, reason);
}

}  // namespace moorlak
