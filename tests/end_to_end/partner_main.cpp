// A program of the terminal: listens on the bus, says what it hears, and answers.
//
//     end_to_end_partner ADDRESS NAME answer|listen
//
// Writes "ready" and then each notification as a line of JSON. An answer is the payload's member
// "answer", or else {"asked": PAYLOAD, "by": ADDRESS}; it is called NAME_reply, or as the member
// "replyName" says. A payload with {"hold": true} is answered when the line "release" is read. Ends
// with its input.

#include <cstdio>
#include <iostream>
#include <mutex>
#include <string>
#include <vector>

#include "zelipc/zelipc.h"

namespace {

using zelipc::JSObject;

struct Answer {
  std::string to, name;
  JSObject payload;
};

struct Partner {
  std::string address, name;
  bool answers = false;
  std::mutex mutex;  // guards held
  std::vector<Answer> held;
};

void send(const Partner& partner, const Answer& answer) {
  const int code = zelipc::ipcNotify(answer.to, answer.name, answer.payload, 0, partner.address);
  if (code != 0) std::fprintf(stderr, "the answer could not be sent (%d)\n", code);
}

Answer answerTo(const Partner& partner, const std::string& from, const JSObject& payload) {
  Answer answer{from, partner.name + "_reply", JSObject()};
  if (payload["replyName"].isString()) answer.name = payload["replyName"].asString();
  if (payload.has("answer")) {
    answer.payload = payload["answer"];
  } else {
    answer.payload["asked"] = payload;
    answer.payload["by"] = JSObject(partner.address);
  }
  return answer;
}

void hold(Partner& partner, const Answer& answer) {
  const std::lock_guard<std::mutex> lock(partner.mutex);
  partner.held.push_back(answer);
}

void print(const std::string& from, const std::string& to, const std::string& name,
           const JSObject& payload, unsigned flags) {
  JSObject line;
  line["from"] = JSObject(from);
  line["to"] = JSObject(to);
  line["name"] = JSObject(name);
  line["flags"] = JSObject(static_cast<long long>(flags));
  line["payload"] = payload;
  std::printf("%s\n", line.dump().c_str());
  std::fflush(stdout);
}

// Whoever reads the line may ask for the release at once, so what is held is held before.
void onNotification(void* data, const std::string& from, const std::string& to,
                    const std::string& name, const JSObject& payload, unsigned flags) {
  Partner& partner = *static_cast<Partner*>(data);
  const bool holds = payload["hold"].asBool();
  if (partner.answers && holds) hold(partner, answerTo(partner, from, payload));
  print(from, to, name, payload, flags);
  if (partner.answers && !holds) send(partner, answerTo(partner, from, payload));
}

void release(Partner& partner) {
  const std::lock_guard<std::mutex> lock(partner.mutex);
  for (const Answer& answer : partner.held) send(partner, answer);
  partner.held.clear();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  Partner partner;
  partner.address = argv[1];
  partner.name = argv[2];
  partner.answers = std::string(argv[3]) == "answer";
  if (zelipc::ipcRegisterNotificationCB(partner.name, onNotification, &partner, 0,
                                        partner.address) != 0) {
    return 1;
  }
  std::printf("ready\n");
  std::fflush(stdout);
  for (std::string line; std::getline(std::cin, line);) {
    if (line == "release") release(partner);
  }
  zelipc::ipcUnregisterNotificationCB(partner.name, onNotification, &partner, partner.address);
  return 0;
}
