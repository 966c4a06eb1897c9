#include "client/console.h"

#include <string>

#include "base/paths.h"
#include "base/utf.h"
#include "client/service_query.h"
#include "client/system_error.h"
#include "client/visible_text.h"

namespace moorlak::client {

Console OpenConsole() {
  return {OpenOutput(STD_OUTPUT_HANDLE), OpenOutput(STD_ERROR_HANDLE)};
}

void Complain(Console& console, std::string_view text) {
  EndLiveLine(console.out);
  std::string line = "moorlakctl: ";
  line += text;
  WriteLine(console.err, line);
}

ExitCode ReportFailure(Console& console, const PipeReply& answer) {
  FailureReport report;
  report.failure = answer.failure;
  report.systemError = answer.systemError;
  report.reply = answer.reply;
  if (answer.failure == Failure::System) report.systemText = SystemErrorWords(answer.systemError);
  if (answer.failure == Failure::Absent) report.serviceState = QueryServiceState();
  if (answer.failure == Failure::Refused) {
    report.ownFolder = NarrowUtf16(ExecutableFolder());
    report.serviceCommandLine = QueryServiceCommandLine();
  }
  Complain(console, FailureText(report));
  return ExitCodeOf(answer.failure);
}

ExitCode ReportReply(Console& console, const PipeReply& answer) {
  const std::string_view reply = answer.reply;
  if (!reply.starts_with(kReplyErrorPrefix)) {
    return ReportFailure(console, {Failure::BadReply, ERROR_SUCCESS, answer.reply});
  }
  const std::string_view text = reply.substr(kReplyErrorPrefix.size());
  Complain(console, "The service answered: " + VisibleText(text));
  return ExitCode::ServiceError;
}

std::optional<StatusReply> TakeStatus(Console& console, const PipeReply& answer, ExitCode& code) {
  if (answer.failure != Failure::None) {
    code = ReportFailure(console, answer);
    return std::nullopt;
  }
  const std::optional<StatusReply> status = ParseStatusReply(answer.reply);
  if (!status) code = ReportReply(console, answer);
  return status;
}

}  // namespace moorlak::client
