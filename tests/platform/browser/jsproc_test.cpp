// The script processor and the HTML engine's register of processors, without a page.

#include "js/jsproc.h"

#include <gtest/gtest.h>

#include "workstation/browser/html/script_runner.h"
#include "zelhtml/zelhtml.h"

namespace wzapp_test {
namespace {

using Context = std::map<std::string, std::string>;

constexpr char kNotifySource[] =
    R"({"call":"notify","to":"1","name":"n","json":"{}","from":"me","flags":7,"replyName":"",)"
    R"("timeout":0,"level":0,"texts":[],"info":{}})";

int countNotify(void* user, const char* to, const char* name, const char* json, unsigned flags,
                const char* from) {
  const bool asSent = std::string(to) == "1" && std::string(name) == "n" &&
                      std::string(json) == "{}" && flags == 7 && std::string(from) == "me";
  *static_cast<int*>(user) += asSent ? 1 : 100;
  return 42;
}

TEST(JsProcTest, RunsACallWithTheRegisteredCallback) {
  int calls = 0;
  js::jsSetNotify(countNotify, &calls);
  Context context;

  const bool ran = js::jsProcessorExt(nullptr, kNotifySource, context);

  EXPECT_TRUE(ran);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(context["result"], "42");
  js::jsSetNotify(nullptr, nullptr);
}

TEST(JsProcTest, WithoutCallbackTheCallFails) {
  Context context;

  EXPECT_FALSE(js::jsProcessorExt(nullptr, kNotifySource, context));
  EXPECT_NE(context["error"], "");
}

TEST(JsProcTest, AnythingElseIsNoCall) {
  for (const char* source : {"", "alert(1)", "{}", "[]", R"({"call":"fly"})", "\xFF"}) {
    Context context;
    EXPECT_FALSE(js::jsProcessorExt(nullptr, source, context)) << source;
    EXPECT_NE(context["error"], "") << source;
  }
}

bool echo(void* user, const std::string& source, Context& context) {
  context["out"] = source + *static_cast<std::string*>(user);
  return true;
}

TEST(ScriptRunnerTest, FindsTheProcessorByType) {
  std::string mark = "!";
  zelhtml::htmlSetScriptProcessor("echo", echo, &mark);
  Context context;

  EXPECT_TRUE(workstation::runScript("echo", "hello", context));
  EXPECT_FALSE(workstation::runScript("other", "hello", context));

  EXPECT_EQ(context["out"], "hello!");
  zelhtml::htmlSetScriptProcessor("echo", nullptr, nullptr);
  EXPECT_FALSE(workstation::runScript("echo", "hello", context));
}

}  // namespace
}  // namespace wzapp_test
