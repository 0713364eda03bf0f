#include <memory>

#include "wz/commands/command_line.h"
#include "wz/commands/commands.h"

namespace wz {
namespace {

void addListen(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<ListenOptions>();
  ListenOptions& options = *kept;
  CLI::App& command = *app.add_subcommand("listen", "Show the notifications sent to an address");
  command.add_option("ADDRESS", options.address, "The address to listen at")
      ->required()
      ->type_name("");
  command.add_option("NAME", options.names, "Names of the notifications")
      ->required()
      ->type_name("");
  addTerminal(command, options.terminal);
  addCount(command, options.count, "End after this number of notifications\n(default: never)");
  addTimeout(command, options.timeoutSeconds,
             "End after this time; it is a failure when --count is\nnot reached by then");
  addJsonLines(command, options.asJson);
  command.footer(
      footer("  wz listen --terminal desk 1 _WZLog\n"
             "  wz listen --terminal desk till PAID CANCELLED --count 1 --timeout 10\n"));
  command.callback([&action, kept] { action = [kept] { return listen(*kept); }; });
}

void addNotify(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<NotifyOptions>();
  NotifyOptions& options = *kept;
  CLI::App& command = *app.add_subcommand("notify", "Send a notification");
  command.add_option("TO", options.to, "Address of the receiver")->required()->type_name("");
  command.add_option("NAME", options.name, "Name of the notification")->required()->type_name("");
  command.add_option("JSON", options.payload, "What it carries")
      ->capture_default_str()
      ->type_name("");
  addTerminal(command, options.terminal);
  command.add_option("--from", options.from, "Address of the sender")
      ->capture_default_str()
      ->type_name("ADDRESS");
  command.add_option("--flags", options.flags, "Flags, a number")
      ->capture_default_str()
      ->type_name("N");
  command.add_flag("--wait", options.waitForReply, "Wait for the reply and print it");
  command.add_option("--reply-name", options.replyName, "Name of the reply (default: NAME_reply)")
      ->type_name("NAME");
  addTimeout(command, options.timeoutSeconds, "With --wait: wait no longer (default: 30)");
  addJson(command, options.asJson);
  command.footer(
      footer("  wz notify --terminal desk till PAID '{\"amount\": 1250}'\n"
             "  wz notify --terminal desk oatmere-club MEMBER_LOOKUP --wait\n"));
  command.callback([&action, kept] { action = [kept] { return notify(*kept); }; });
}

void addReply(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<ReplyOptions>();
  ReplyOptions& options = *kept;
  CLI::App& command = *app.add_subcommand("reply", "Answer the notifications of a name");
  command.add_option("ADDRESS", options.address, "The address to answer at")
      ->required()
      ->type_name("");
  command.add_option("NAME", options.name, "Name of the notifications")->required()->type_name("");
  command.add_option("JSON", options.payload, "The answer, a JSON value")
      ->required()
      ->type_name("");
  addTerminal(command, options.terminal);
  command.add_option("--reply-name", options.replyName, "Name of the answer (default: NAME_reply)")
      ->type_name("NAME");
  addCount(command, options.count, "End after this number of answers (default: never)");
  addTimeout(command, options.timeoutSeconds,
             "End after this time; it is a failure when --count is\nnot reached by then");
  addJsonLines(command, options.asJson);
  command.footer(
      footer("  wz reply --terminal desk oatmere-club MEMBER_LOOKUP '{\"known\": false}'\n"
             "  wz reply --terminal desk host AUTHORISE true --count 1\n"));
  command.callback([&action, kept] { action = [kept] { return reply(*kept); }; });
}

void addHost(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<HostOptions>();
  HostOptions& options = *kept;
  CLI::App& command = *app.add_subcommand("host", "Play the programs around an application");
  command.add_option("FILE", options.file, "What they answer, JSON")->type_name("");
  addTerminal(command, options.terminal);
  command.add_flag("--example", options.printExample, "Print a file to begin with");
  command.add_flag("--schema", options.printSchema, "Print the JSON Schema of such files");
  addJsonLines(command, options.asJson);
  addCount(command, options.count, "End after this number of notifications\n(default: never)");
  addTimeout(command, options.timeoutSeconds,
             "End after this time; it is a failure when --count is\nnot reached by then");
  command.footer(
      footer("  wz host --example > host.json\n"
             "  wz host --terminal desk host.json\n") +
      "\n\nThe first rule that fits a notification answers it: by a reply with placeholders, after "
      "a\n"
      "delay, in sequence, by silence, an error, a malformed reply, or what a program says.");
  command.callback([&action, kept] { action = [kept] { return playHost(*kept); }; });
}

}  // namespace

void addMessageCommands(CLI::App& app, Action& action) {
  addListen(app, action);
  addNotify(app, action);
  addReply(app, action);
  addHost(app, action);
}

}  // namespace wz
