// The descriptor owner closes exactly what it holds, and the read and write
// loops deliver every byte across partial transfers and interrupting signals.
#include "platform/io/unique_fd.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <utility>

namespace {

using cantora::UniqueFd;

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

// A pipe whose two ends are owned.
struct Pipe {
  Pipe() {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) == 0) {
      read_end.Reset(fds[0]);
      write_end.Reset(fds[1]);
    }
  }
  UniqueFd read_end;
  UniqueFd write_end;
};

// A handler without SA_RESTART, as the CGIs install theirs: a blocked read
// or write is interrupted (EINTR), or returns what it moved so far.
void OnSignal(int) {}
void InstallInterruptingHandler() {
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGUSR1, &action, nullptr);
}

// Sends SIGUSR1 to thread every 200 microseconds while busy is set.
std::thread Pester(pthread_t thread, const std::atomic<bool>* busy) {
  return std::thread([thread, busy] {
    while (busy->load()) {
      pthread_kill(thread, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });
}

std::string Pattern(size_t size) {
  std::string text(size, '\0');
  for (size_t i = 0; i < size; ++i) text[i] = static_cast<char>('a' + (i * 7 + i / 251) % 26);
  return text;
}

TEST(UniqueFdTest, HoldsNothingByDefault) {
  UniqueFd fd;
  EXPECT_FALSE(fd);
  EXPECT_EQ(fd.get(), -1);
  EXPECT_EQ(fd.Release(), -1);
  EXPECT_TRUE(fd.Close());
}

TEST(UniqueFdTest, ClosesWhatItHoldsWhenItGoes) {
  Pipe p;
  ASSERT_TRUE(p.read_end);
  const int raw = p.read_end.get();
  { UniqueFd gone(p.read_end.Release()); }
  EXPECT_FALSE(p.read_end);
  EXPECT_FALSE(IsOpen(raw));
}

TEST(UniqueFdTest, MovesHandOverWithoutClosing) {
  Pipe p;
  const int raw = p.read_end.get();
  UniqueFd moved(std::move(p.read_end));
  EXPECT_EQ(moved.get(), raw);
  EXPECT_FALSE(p.read_end);  // NOLINT(bugprone-use-after-move): the moved-from state is the contract
  EXPECT_TRUE(IsOpen(raw));

  // Assigning closes what the target held before.
  const int other = p.write_end.get();
  moved = std::move(p.write_end);
  EXPECT_EQ(moved.get(), other);
  EXPECT_FALSE(IsOpen(raw));
  EXPECT_TRUE(IsOpen(other));
}

TEST(UniqueFdTest, ReleaseLeavesTheDescriptorOpen) {
  Pipe p;
  const int raw = p.read_end.Release();
  EXPECT_FALSE(p.read_end);
  EXPECT_TRUE(IsOpen(raw));
  close(raw);
}

TEST(UniqueFdTest, ResetClosesTheOldAndKeepsTheNew) {
  Pipe p;
  const int old_fd = p.read_end.get();
  const int new_fd = dup(p.write_end.get());
  ASSERT_GE(new_fd, 0);
  p.read_end.Reset(new_fd);
  EXPECT_FALSE(IsOpen(old_fd));
  EXPECT_EQ(p.read_end.get(), new_fd);
  p.read_end.Reset();
  EXPECT_FALSE(IsOpen(new_fd));
  EXPECT_FALSE(p.read_end);
}

TEST(UniqueFdTest, CloseReportsAndForgets) {
  Pipe p;
  const int raw = p.write_end.get();
  EXPECT_TRUE(p.write_end.Close());
  EXPECT_FALSE(p.write_end);
  EXPECT_FALSE(IsOpen(raw));
}

TEST(UniqueFdTest, ReadAllGathersPartialReadsAndStopsAtTheEnd) {
  Pipe p;
  const std::string text = Pattern(10000);
  std::thread writer([&] {
    // Small pieces with pauses: each read(2) gets only part.
    for (size_t at = 0; at < text.size(); at += 1000) {
      ASSERT_TRUE(cantora::WriteAll(p.write_end.get(), text.data() + at, 1000));
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    p.write_end.Reset();
  });
  std::string got(4000, '\0');
  EXPECT_EQ(cantora::ReadAll(p.read_end.get(), got.data(), got.size()), 4000);
  EXPECT_EQ(got, text.substr(0, 4000));
  // More is asked than remains: what is left, then the end.
  got.assign(20000, '\0');
  ssize_t n = cantora::ReadAll(p.read_end.get(), got.data(), got.size());
  writer.join();
  ASSERT_EQ(n, 6000);
  EXPECT_EQ(got.substr(0, 6000), text.substr(4000));
  EXPECT_EQ(cantora::ReadAll(p.read_end.get(), got.data(), got.size()), 0);
}

TEST(UniqueFdTest, ReadAllReportsAnError) {
  Pipe p;
  char c;
  // The write end reads nothing.
  EXPECT_EQ(cantora::ReadAll(p.write_end.get(), &c, 1), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(UniqueFdTest, WriteAllAndReadAllSurviveSignals) {
  InstallInterruptingHandler();
  Pipe p;
  // A pipe far smaller than the text: the writer blocks again and again,
  // and the signals cut its writes short or interrupt them.
  fcntl(p.write_end.get(), F_SETPIPE_SZ, 4096);
  const std::string text = Pattern(1 << 20);
  std::atomic<bool> writing{true};
  std::atomic<bool> wrote{false};
  std::thread writer([&] {
    wrote = cantora::WriteAll(p.write_end.get(), text);
    p.write_end.Reset();
    writing = false;
  });
  std::atomic<bool> reading{true};
  std::thread pester_writer = Pester(writer.native_handle(), &writing);
  std::thread pester_reader = Pester(pthread_self(), &reading);
  std::string got(text.size() + 1, '\0');
  ssize_t n = cantora::ReadAll(p.read_end.get(), got.data(), got.size());
  reading = false;
  writer.join();
  pester_writer.join();
  pester_reader.join();
  EXPECT_TRUE(wrote);
  ASSERT_EQ(n, static_cast<ssize_t>(text.size()));
  got.resize(text.size());
  EXPECT_TRUE(got == text);
}

TEST(UniqueFdTest, WriteAllFailsWhenTheReaderIsGone) {
  signal(SIGPIPE, SIG_IGN);
  Pipe p;
  p.read_end.Reset();
  EXPECT_FALSE(cantora::WriteAll(p.write_end.get(), std::string("lost")));
  EXPECT_EQ(errno, EPIPE);
  signal(SIGPIPE, SIG_DFL);
}

TEST(UniqueFdTest, AStopFlagEndsABlockedWrite) {
  InstallInterruptingHandler();
  Pipe p;
  fcntl(p.write_end.get(), F_SETPIPE_SZ, 4096);
  volatile sig_atomic_t stop = 0;
  std::atomic<bool> writing{true};
  bool wrote = true;
  int error = 0;
  std::thread writer([&] {
    // Nobody reads: the write blocks once the pipe is full.
    wrote = cantora::WriteAll(p.write_end.get(), Pattern(1 << 20), &stop);
    error = errno;
    writing = false;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  stop = 1;
  std::thread pester = Pester(writer.native_handle(), &writing);
  writer.join();
  pester.join();
  EXPECT_FALSE(wrote);
  EXPECT_EQ(error, EINTR);
}

TEST(UniqueFdTest, ReadSomeGivesUpOnlyWhenStopped) {
  Pipe p;
  volatile sig_atomic_t stop = 0;
  ASSERT_TRUE(cantora::WriteAll(p.write_end.get(), std::string("abc")));
  char buffer[16];
  EXPECT_EQ(cantora::ReadSome(p.read_end.get(), buffer, sizeof buffer, &stop), 3);
  stop = 1;
  ASSERT_TRUE(cantora::WriteAll(p.write_end.get(), std::string("d")));
  EXPECT_EQ(cantora::ReadSome(p.read_end.get(), buffer, sizeof buffer, &stop), -1);
  EXPECT_EQ(errno, EINTR);
}

TEST(UniqueFdTest, ReadToEndKeepsToItsLimit) {
  Pipe p;
  ASSERT_TRUE(cantora::WriteAll(p.write_end.get(), std::string("0123456789")));
  p.write_end.Reset();
  std::string all;
  EXPECT_TRUE(cantora::ReadToEnd(p.read_end.get(), &all, 10));
  EXPECT_EQ(all, "0123456789");

  Pipe q;
  ASSERT_TRUE(cantora::WriteAll(q.write_end.get(), std::string("0123456789")));
  q.write_end.Reset();
  std::string cut;
  EXPECT_FALSE(cantora::ReadToEnd(q.read_end.get(), &cut, 9));
  EXPECT_EQ(errno, EFBIG);
}

}  // namespace
