// Runs the qdifc program of the build, as a person would from a shell.
#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

struct CommandResult {
  int status;       // the exit status, or -1 if it did not exit normally
  std::string out;  // standard output and standard error together
};

// env: assignments put before the command (VAR=value ...), as a shell takes them.
inline CommandResult qdifc(const std::string& args, const std::string& env = "") {
  std::string command = env + std::string(QDIFC_TEST_QDIFC_PATH) + " " + args + " 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  CommandResult run{-1, {}};
  if (!pipe) return run;
  std::array<char, 4096> buffer{};
  size_t n;
  while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) run.out.append(buffer.data(), n);
  int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}
