#include "replica/transfer_progress.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <string>
#include <thread>

namespace drive::replica {
namespace {

// What a terminal showed: everything written to the pseudo-terminal until it closed.
std::string shown(int master) {
  std::string text;
  char buffer[256];
  for (ssize_t got; (got = ::read(master, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(got));
  return text;
}

TEST(TransferProgress, OnATerminalALongTransferShowsItsSizeAndEndsWithItsRate) {
  int master = -1;
  int terminal = -1;
  ASSERT_EQ(::openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
  {
    TransferProgress film(terminal, "Uploading", "Film.mov", 3 << 20);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  }
  { TransferProgress quick(terminal, "Uploading", "Quick.txt", 10); }
  ::close(terminal);
  const auto text = shown(master);
  ::close(master);
  EXPECT_NE(text.find("Uploading Film.mov: 3.0 MiB, "), std::string::npos) << text;
  EXPECT_NE(text.find("Uploading Film.mov: 3.0 MiB in 1 s ("), std::string::npos) << text;
  EXPECT_NE(text.find(" MiB/s)"), std::string::npos) << text;
  EXPECT_EQ(text.find("Quick.txt"), std::string::npos) << "quick transfers stay silent";
}

TEST(TransferProgress, WithoutATerminalNothingIsWritten) {
  int pipe[2];
  ASSERT_EQ(::pipe2(pipe, O_NONBLOCK), 0);
  {
    TransferProgress film(pipe[1], "Downloading", "Film.mov", 3 << 20);
    std::this_thread::sleep_for(std::chrono::milliseconds(900));
  }
  char byte;
  EXPECT_EQ(::read(pipe[0], &byte, 1), -1) << "a log file or pipe gets no progress lines";
  ::close(pipe[0]);
  ::close(pipe[1]);
}

}  // namespace
}  // namespace drive::replica
