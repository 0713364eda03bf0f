// wz run --watch: what is saved in the folder is in the page.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>

#include "tests/tools/run_fixture.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class WatchTest : public RunTest {
 protected:
  WatchTest() : folder_(shop("console.info('first', wz.properties.till);")) {}

  Arguments watch() { return run(folder_, {"--watch", "--param", "till=3"}); }

  void save(const std::string& script) { write("desk/shop/index.html", page(script)); }

  static void stop(Program& program) {
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), kDone) << program.errors();
  }

  const std::string folder_;
};

TEST_F(WatchTest, ASavedPageIsShownWithItsBridgeAndItsProperties) {
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("first 3")) << program.errors();

  save("console.info('second', wz.properties.till);");
  EXPECT_TRUE(program.awaitOutput("second 3")) << program.out();
  save("wz.log('info', 'third');");
  EXPECT_TRUE(program.awaitOutput("shop log info: third")) << program.out();

  stop(program);
  EXPECT_THAT(installed(), testing::IsEmpty());
}

TEST_F(WatchTest, AnEditorThatSavesByRenameIsFollowed) {
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("first 3")) << program.errors();

  for (int i = 0; i < 3; ++i) {
    const std::string text = "renamed " + std::to_string(i);
    write("desk/shop/.index.html.swp", "x");
    write("desk/shop/index.html~", page("console.info('" + text + "');"));
    fs::rename(folder_ + "/index.html~", folder_ + "/index.html");
    EXPECT_TRUE(program.awaitOutput(text)) << program.out();
  }
  stop(program);
}

// Whoever works in the application's folder has the pictures there, too.
TEST_F(WatchTest, APictureOfThePageIsNoChangeOfIt) {
  const std::string picture = folder_ + "/shot.png";
  Arguments arguments = watch();
  arguments.insert(arguments.end(), {"--screenshot", picture, "--screenshot-at", "p"});
  Program program(arguments);
  ASSERT_TRUE(program.awaitOutput("first 3")) << program.errors();
  for (int i = 0; i < 1000 && !fs::exists(picture); ++i) usleep(10'000);
  ASSERT_TRUE(fs::exists(picture)) << program.errors();

  save("console.info('second');");
  EXPECT_TRUE(program.awaitOutput("second")) << program.out();
  stop(program);
  EXPECT_THAT(program.out(), Not(HasSubstr("shot.png")));
}

TEST_F(WatchTest, NewFoldersAreFollowedToo) {
  save("import('./sub/deep/a.mjs').then(() => {}, () => console.info('missing'));");
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("missing")) << program.errors();

  write("desk/shop/sub/deep/a.mjs", "console.info('module one');");
  EXPECT_TRUE(program.awaitOutput("module one")) << program.out();
  write("desk/shop/sub/deep/a.mjs", "console.info('module two');");
  EXPECT_TRUE(program.awaitOutput("module two")) << program.out();
  stop(program);
}

TEST_F(WatchTest, AStyleSheetIsChangedWithoutAReload) {
  write("desk/shop/app.css", "p { color: rgb(1, 1, 1) }");
  write("desk/shop/index.html",
        "<link rel=stylesheet href=app.css><p>x</p><script>console.info('loaded');"
        "let last = ''; setInterval(() => {"
        "  const now = getComputedStyle(document.querySelector('p')).color;"
        "  if (now !== last) console.info('colour', last = now); }, 10);</script>");
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("colour rgb(1, 1, 1)")) << program.errors();

  write("desk/shop/app.css", "p { color: rgb(2, 2, 2) }");
  EXPECT_TRUE(program.awaitOutput("colour rgb(2, 2, 2)")) << program.out();
  write("desk/shop/app.css", "p { color: rgb(3, 3, 3) }");
  EXPECT_TRUE(program.awaitOutput("colour rgb(3, 3, 3)")) << program.out();

  stop(program);
  const std::string out = program.out();
  EXPECT_EQ(out.find("loaded ("), out.rfind("loaded (")) << out;
}

TEST_F(WatchTest, ConfigurationAndManifestAreReadAnew) {
  save("console.info('conf', wz.properties.wz_confApp, wz.properties.wz_appVersion);");
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("conf ")) << program.errors();

  write("desk/shop/confApp.json", R"({"greeting":"hello"})");
  EXPECT_TRUE(program.awaitOutput("conf {\"greeting\":\"hello\"} 1.2")) << program.out();
  write("desk/shop/manifest.mft",
        R"({"application": {"id": "shop", "version": "1.3"}, "desktop": {"file": "index.html"}})");
  EXPECT_TRUE(program.awaitOutput("{\"greeting\":\"hello\"} 1.3")) << program.out();
  stop(program);
  // That wz has cancelled it each time is nothing to tell.
  EXPECT_THAT(program.out(), Not(HasSubstr("ended with result")));
  EXPECT_THAT(program.out(), Not(HasSubstr("_WZLog")));
}

TEST_F(WatchTest, TheStoryHasEachEndAllTheSame) {
  Arguments arguments = watch();
  arguments.insert(arguments.end(), {"--json", "--timeout", "2"});

  const ProgramResult result = runWz(arguments);

  EXPECT_EQ(result.code, kDone) << result.errors;
  EXPECT_THAT(result.out, HasSubstr(R"("event":"exited","app":"shop","result":-8)"));
  EXPECT_THAT(result.errors, HasSubstr("wz: time is up"));
}

TEST_F(WatchTest, ABrokenManifestOrScriptIsToldAndTheNextOneWorks) {
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("first 3")) << program.errors();

  write("desk/shop/manifest.mft", "{\n  \"application\": {");
  EXPECT_TRUE(program.awaitOutput("manifest.mft is no JSON: ")) << program.errors();
  save("console.info('page goes on');");
  EXPECT_TRUE(program.awaitOutput("page goes on")) << program.out();
  save("let = ;");
  EXPECT_TRUE(program.awaitOutput("Uncaught SyntaxError")) << program.out();
  write("desk/shop/manifest.mft",
        R"({"application": {"id": "shop", "version": "1.4"}, "desktop": {"file": "index.html"}})");
  save("console.info('mended', wz.properties.wz_appVersion);");
  EXPECT_TRUE(program.awaitOutput("mended 1.4")) << program.out();
  stop(program);
}

TEST_F(WatchTest, AnApplicationThatHasEndedStartsAnewWithTheNextChange) {
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("first 3")) << program.errors();

  save("wz.exit(0, {round: 'one'});");
  EXPECT_TRUE(program.awaitOutput("the next change starts it anew")) << program.out();
  save("console.info('again');");
  EXPECT_TRUE(program.awaitOutput("again")) << program.out();
  stop(program);
}

// A page that waits for a reply cannot be asked to load anew: it makes room for a new one.
TEST_F(WatchTest, APageThatStandsStillIsReplaced) {
  Program desk({"listen", "desk", "LOOKUP", "--terminal", terminal_.directory()});
  ASSERT_TRUE(desk.awaitOutput("listening at desk"));
  save("console.info('asks'); wz.notifyAndWaitSync('desk', 'LOOKUP', {}, {timeout: -1});");
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("asks")) << program.errors();
  ASSERT_TRUE(desk.awaitOutput("LOOKUP")) << desk.errors();

  save("console.info('free');");
  EXPECT_TRUE(program.awaitOutput("free")) << program.out();
  stop(program);
}

TEST_F(WatchTest, AFolderThatIsMovedAwayAndBackIsTakenUpAgain) {
  Program program(watch());
  ASSERT_TRUE(program.awaitOutput("first 3")) << program.errors();

  fs::rename(folder_, folder_ + ".away");
  EXPECT_TRUE(program.awaitOutput("is gone; waiting until it is back")) << program.errors();
  std::ofstream(folder_ + ".away/index.html") << page("console.info('was away');");
  fs::rename(folder_ + ".away", folder_);
  EXPECT_TRUE(program.awaitOutput("was away")) << program.out() << program.errors();
  save("console.info('after that');");
  EXPECT_TRUE(program.awaitOutput("after that")) << program.out();
  stop(program);
}

TEST_F(WatchTest, AnInstalledApplicationCannotBeWatched) {
  const std::string root = terminal_.directory() + kAppRoot;
  fs::create_directories(root);
  fs::rename(folder_, root + "/shop");
  fs::rename(root + "/shop/manifest.mft", root + "/SHOP.MFT");

  const ProgramResult result = runWz(run("shop", {"--watch"}));

  EXPECT_EQ(result.code, kUsage);
  EXPECT_THAT(result.errors, HasSubstr("--watch follows a folder; shop is installed"));
}

// The limit holds for a user namespace, of which the program gets one with none left.
TEST_F(WatchTest, WithoutInotifyWatchesItSaysWhatToDo) {
  const std::string command = "echo 0 > /proc/sys/user/max_inotify_instances && exec \"$0\" \"$@\"";
  const auto limit = [&] {
    execlp("unshare", "unshare", "--user", "--map-root-user", "sh", "-c", command.c_str(),
           WZ_PROGRAM, "run", "--headless", "--watch", folder_.c_str(), "--terminal",
           terminal_.directory().c_str(), nullptr);
  };

  const ProgramResult result = runWz({}, limit);

  EXPECT_EQ(result.code, kEnvironment) << result.errors;
  EXPECT_THAT(result.errors, HasSubstr("no inotify instances are left"));
  EXPECT_THAT(installed(), testing::IsEmpty());
}

// ---- Keys --------------------------------------------------------------------------------------

TEST_F(WatchTest, SingleKeysWorkInATerminalWhichIsLeftAsItWas) {
  int keyboard = -1, terminal = -1;
  ASSERT_EQ(openpty(&keyboard, &terminal, nullptr, nullptr, nullptr), 0);
  termios before{};
  tcgetattr(terminal, &before);
  Program program(watch(), [&] {
    setsid();
    ioctl(terminal, TIOCSCTTY, 0);
    dup2(terminal, STDIN_FILENO);
    if (chdir(terminal_.directory().c_str()) != 0) _exit(125);
  });
  const auto type = [&](char key) { ASSERT_EQ(::write(keyboard, &key, 1), 1); };
  ASSERT_TRUE(program.awaitOutput("first 3")) << program.errors();

  type('?');
  EXPECT_TRUE(program.awaitOutput("r reload, s screenshot, d developer tools, q quit"));
  type('r');
  EXPECT_TRUE(program.awaitOutput("shop reloaded: asked for")) << program.out();
  type('s');
  EXPECT_TRUE(program.awaitOutput("shop-1.png")) << program.errors();
  type('d');
  EXPECT_TRUE(program.awaitOutput("no developer tools: there is no window")) << program.errors();
  type('q');

  EXPECT_EQ(program.wait(), kDone) << program.errors();
  EXPECT_TRUE(fs::exists(terminal_.directory() + "/shop-1.png"));
  termios after{};
  tcgetattr(terminal, &after);
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  close(keyboard);
  close(terminal);
}

// Plays the shell: returns in a child that has the foreground, and goes on with it once it has been
// stopped.
void continueOnce(int terminal) {
  signal(SIGTTOU, SIG_IGN);
  const pid_t child = fork();
  if (child == 0) {
    setpgid(0, 0);
    tcsetpgrp(terminal, getpid());
    signal(SIGTTOU, SIG_DFL);
    return;
  }
  int status = 0;
  waitpid(child, &status, WUNTRACED);
  termios mode{};
  tcgetattr(terminal, &mode);
  const char* const said = (mode.c_lflag & ICANON) != 0 ? "whole lines\n" : "single keys\n";
  (void)!::write(STDOUT_FILENO, said, strlen(said));
  kill(child, SIGCONT);
  waitpid(child, &status, 0);
  _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 125);
}

// As a shell does it: Ctrl-Z stops the program's group, `fg` lets it go on.
TEST_F(WatchTest, KeysWorkAfterASuspensionForWhichTheTerminalIsAsItWas) {
  int keyboard = -1, terminal = -1;
  ASSERT_EQ(openpty(&keyboard, &terminal, nullptr, nullptr, nullptr), 0);
  Program program(watch(), [&] {
    setsid();
    ioctl(terminal, TIOCSCTTY, 0);
    dup2(terminal, STDIN_FILENO);
    continueOnce(terminal);
  });
  const auto type = [&](char key) { ASSERT_EQ(::write(keyboard, &key, 1), 1); };
  ASSERT_TRUE(program.awaitOutput("first 3")) << program.errors();

  type('\x1a');
  EXPECT_TRUE(program.awaitOutput("whole lines")) << program.out() << program.errors();
  termios now{};
  do {
    usleep(10'000);
    tcgetattr(terminal, &now);
  } while ((now.c_lflag & ICANON) != 0 && program.out().find("single keys") == std::string::npos);
  type('r');
  EXPECT_TRUE(program.awaitOutput("shop reloaded: asked for")) << program.out();
  type('q');
  EXPECT_EQ(program.wait(), kDone) << program.errors();
  close(keyboard);
  close(terminal);
}

}  // namespace
}  // namespace wzapp_test
