// The console on a real terminal: each test gets a pseudo terminal in place of the standard
// handles.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <string>

#include "object/xp_ref.h"
#include "stream/xp_console_stream.h"
#include "tests/support/fakes.h"

namespace {

// Puts a file in the place of a standard handle until the end of the scope.
struct replaced {
  replaced(int standard, int file) : standard_(standard), saved_(dup(standard)) {
    dup2(file, standard);
  }
  ~replaced() {
    dup2(saved_, standard_);
    close(saved_);
  }
  replaced(const replaced&) = delete;
  replaced& operator=(const replaced&) = delete;

 private:
  int standard_;
  int saved_;
};

struct Terminal : testing::Test {
  Terminal() {
    winsize window = {.ws_row = 30, .ws_col = 120, .ws_xpixel = 0, .ws_ypixel = 0};
    termios settings;
    EXPECT_EQ(openpty(&person, &computer, nullptr, nullptr, &window), 0);
    tcgetattr(computer, &settings);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(computer, TCSANOW, &settings);
  }
  ~Terminal() override {
    close(person);
    close(computer);
  }
  // What appears on the screen.
  std::string screen() const {
    char buffer[4096];
    std::string shown;
    pollfd wait = {person, POLLIN, 0};
    while (poll(&wait, 1, 100) == 1) {
      const ssize_t got = read(person, buffer, sizeof(buffer));
      if (got < 1) break;
      shown.append(buffer, static_cast<size_t>(got));
    }
    return shown;
  }
  void type(const std::string& keys) const {
    EXPECT_EQ(write(person, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  int person = -1;    // the side with the keyboard and the screen
  int computer = -1;  // the side that programs see
};

std::string read_all(int32_t length) {
  const xp_ref in(xp_console_input_new());
  EXPECT_EQ(xp_stream_open(in.get(), 0), 0);
  std::string text(static_cast<size_t>(length), 0);
  const int32_t got = xp_stream_read(in.get(), text.data(), length);
  text.resize(static_cast<size_t>(got < 0 ? 0 : got));
  return text;
}

int32_t width() {
  const xp_ref out(xp_console_output_new(XP_CONSOLE_KIND_ERROR));
  int32_t columns = -1;
  EXPECT_EQ(xp_stream_option(out.get(), STREAM_OPTION_WIDTH, &columns), 0);
  return columns;
}

}  // namespace

TEST_F(Terminal, ItsWidthIsAskedAtEachCall) {
  {
    const replaced error(STDERR_FILENO, computer);
    EXPECT_EQ(width(), 120);
    winsize window = {.ws_row = 30, .ws_col = 66, .ws_xpixel = 0, .ws_ypixel = 0};
    ASSERT_EQ(ioctl(computer, TIOCSWINSZ, &window), 0);
    EXPECT_EQ(width(), 66);
  }
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const replaced error(STDERR_FILENO, ends[1]);
  EXPECT_EQ(width(), 80) << "no terminal any more";
  close(ends[0]);
  close(ends[1]);
}

TEST_F(Terminal, OutputIsUtf8) {
  std::string text = "\xE2\x82\xAC \xF0\x9F\x98\x80 \xC3\xA9\n";
  while (text.size() < 3000)
    text += text;
  int32_t written = 0;
  {
    const replaced error(STDERR_FILENO, computer);
    const xp_ref out(xp_console_output_new(XP_CONSOLE_KIND_ERROR));
    if (xp_stream_open(out.get(), STREAM_MODE_WRITE) == 0)
      written = xp_stream_write(out.get(), text.data(), static_cast<int32_t>(text.size()));
  }
  EXPECT_EQ(written, static_cast<int32_t>(text.size()));
  EXPECT_EQ(screen(), text);
}

TEST_F(Terminal, InputOfSeveralBytesIsOneCharacterAndEndsAtTheEnd) {
  const replaced input(STDIN_FILENO, computer);
  type("a\xE2\x82\xAC\xC3\xA9\n\x04");
  EXPECT_EQ(read_all(60), "a\xE2\x82\xAC\xC3\xA9\n");
  type("\xE2\x82x\n\x04");
  EXPECT_EQ(read_all(60), "\xEF\xBF\xBDx\n") << "a character that breaks off is replaced";
  type("\xF0\x9F\x98\x80\n\x04");
  EXPECT_EQ(read_all(60), "\xEF\xBF\xBD\xEF\xBF\xBD\n") << "each half by itself";
}

TEST(Redirected, AReaderThatHasGoneIsAFailedWrite) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  int32_t written = -1;
  int32_t pushed = -1;
  {
    const replaced error(STDERR_FILENO, ends[1]);
    const xp_ref out(xp_console_output_new(XP_CONSOLE_KIND_ERROR));
    if (xp_stream_open(out.get(), STREAM_MODE_WRITE) == 0) {
      written = xp_stream_write(out.get(), "abc", 3);
      (void)xp_stream_option(out.get(), STREAM_OPTION_PUSH, &pushed);
    }
  }
  EXPECT_EQ(written, 0);
  EXPECT_EQ(pushed, 0) << "a pipe holds nothing back";
  close(ends[1]);
}

TEST(Redirected, AClosedHandleGivesNothing) {
  const int saved = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const std::string text = read_all(10);
  dup2(saved, STDIN_FILENO);
  close(saved);
  EXPECT_EQ(text, "");
}
