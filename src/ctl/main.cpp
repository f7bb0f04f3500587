// The entry of zovctl. Its exit statuses stand in ctl/failure.h.

#include <cstdio>

#include "ctl/command_line.h"
#include "ctl/text.h"
#include "platform/trace.h"

int main(int argc, char** argv) {
  using zov::ctl::Status;
  zov::ctl::useLocale();
  DGT1_Open();
  zov::ctl::CommandLine commands;
  try {
    const Status status = commands.run(argc, argv);
    return std::fflush(stdout) == 0 ? static_cast<int>(status) : static_cast<int>(Status::Refused);
  } catch (const CLI::ParseError& error) {
    return commands.explain(error) == 0 ? 0 : static_cast<int>(Status::Usage);
  } catch (const zov::ctl::Failure& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "zovctl: %s\n", failure.what());
    return static_cast<int>(failure.status());
  } catch (const std::exception& fault) {
    std::fprintf(stderr, "zovctl: A fault in zovctl, which ends: %s\n", fault.what());
    return static_cast<int>(Status::Refused);
  }
}
