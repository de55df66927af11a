// SPDX-License-Identifier: BSD-3-Clause
#include "n_array/panic.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

namespace corvane {
namespace {

TEST(panic, prints_file_line_and_message_and_aborts) {
  EXPECT_EXIT(panic("shape must be equal dimensional", 145, "src/n_array/n_array"),
              testing::KilledBySignal(SIGABRT),
              "^src/n_array/n_array:145 panic: shape must be equal dimensional$");
}

TEST(panic, prints_braces_of_the_message_as_they_are) {
  EXPECT_EXIT(panic("{} and {0}", -1, "a file"), testing::KilledBySignal(SIGABRT),
              "^a file:-1 panic: \\{\\} and \\{0\\}$");
}

// All that a child process which panics leaves on its standard error.
std::string standard_error_of_a_panic() {
  FILE* captured = std::tmpfile();
  const pid_t child = fork();
  if (child == 0) {
    dup2(fileno(captured), STDERR_FILENO);
    panic("message", 7, "file");
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status));
  std::string text;
  std::rewind(captured);
  for (int letter = std::fgetc(captured); letter != EOF; letter = std::fgetc(captured))
    text.push_back(static_cast<char>(letter));
  std::fclose(captured);
  return text;
}

TEST(panic, appends_no_newline) {
  EXPECT_EQ(standard_error_of_a_panic(), "file:7 panic: message");
}

TEST(panic, ends_the_process_when_the_text_cannot_be_written) {
  EXPECT_EXIT(
      {
        if (std::freopen("/dev/full", "w", stderr) != nullptr) panic("message", 7, "file");
      },
      testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
}  // namespace corvane
