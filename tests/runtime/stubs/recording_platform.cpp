#include "tests/runtime/stubs/recording_platform.h"

#include <algorithm>

namespace stubs {
namespace {

constexpr int kMemoryKey = 39;
constexpr int kSerialNumberKey = 35;
constexpr int kModelKey = 68;

void appendInteger(std::string& record, std::uint32_t value) {
  record.append(reinterpret_cast<const char*>(&value), sizeof value);
}

}  // namespace

RecordingPlatform& platform() {
  // Never destroyed: an application's thread may still come by while the process ends.
  static RecordingPlatform& instance = *new RecordingPlatform;
  return instance;
}

void RecordingPlatform::reset() {
  const std::lock_guard<std::mutex> lock(mutex_);
  answers = Answers();
  answers.information[kSerialNumberKey] = std::string(" 4711-0815 ", 12);
  answers.information[kModelKey] = std::string("T30 m \0rest", 11);
  answers.information[kMemoryKey] = memoryRecord(256U << 20);
  answers.sponsorRecords = {sponsorRecord("004242", "Sample sponsor")};
  calls_.clear();
  pages_.clear();
  invocations_ = 0;
  cancelled_.clear();
  sent_.clear();
  nextSponsorRecord_ = 0;
}

void RecordingPlatform::note(const std::string& call) {
  const std::lock_guard<std::mutex> lock(mutex_);
  calls_.push_back(call);
}

std::vector<std::string> RecordingPlatform::calls() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

int RecordingPlatform::invoke(const zelgui::UIProperties& properties, const std::string& url) {
  const int answer = answers.invoke ? answers.invoke(properties, url) : 0;
  const std::lock_guard<std::mutex> lock(mutex_);
  ++invocations_;
  const int invocation = answers.invoke ? answer : invocations_;
  pages_[invocation] = Page();
  changed_.notify_all();
  return invocation;
}

int RecordingPlatform::waitForEnd(int invocation, zelgui::UIProperties& properties) {
  if (answers.wait) return answers.wait(invocation, properties);
  std::unique_lock<std::mutex> lock(mutex_);
  Page& page = pages_[invocation];
  while (!page.ended) changed_.wait(lock);
  return page.result;
}

void RecordingPlatform::cancel(int invocation) {
  const std::lock_guard<std::mutex> lock(mutex_);
  cancelled_.push_back(invocation);
  Page& page = pages_[invocation];
  if (!page.ended) page = {true, kCancelled};
  changed_.notify_all();
}

void RecordingPlatform::end(int invocation, int result) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Page& page = pages_[invocation];
  if (!page.ended) page = {true, result};
  changed_.notify_all();
}

std::vector<int> RecordingPlatform::cancelled() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return cancelled_;
}

void RecordingPlatform::awaitInvocations(int count) {
  std::unique_lock<std::mutex> lock(mutex_);
  while (invocations_ < count) changed_.wait(lock);
}

void RecordingPlatform::awaitCancels(std::size_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  while (cancelled_.size() < count) changed_.wait(lock);
}

int RecordingPlatform::send(const Notification& notification) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    sent_.push_back(notification);
  }
  return answers.notify ? answers.notify(notification) : 0;
}

void RecordingPlatform::add(const ReplyRegistration& registration) {
  const std::lock_guard<std::mutex> lock(mutex_);
  replyRegistrations_.push_back(registration);
}

void RecordingPlatform::remove(const std::string& name, zelipc::NotificationCallback callback,
                               void* data, const std::string& from) {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::erase_if(replyRegistrations_, [&](const ReplyRegistration& other) {
    return other.name == name && other.from == from && other.callback == callback &&
           other.data == data;
  });
}

void RecordingPlatform::add(const ErrorRegistration& registration) {
  const std::lock_guard<std::mutex> lock(mutex_);
  errorRegistrations_.push_back(registration);
}

void RecordingPlatform::remove(const ErrorRegistration& registration) {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::erase_if(errorRegistrations_, [&](const ErrorRegistration& other) {
    return other.callback == registration.callback && other.data == registration.data;
  });
}

std::vector<ReplyRegistration> RecordingPlatform::replyRegistrations() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return replyRegistrations_;
}

std::vector<ErrorRegistration> RecordingPlatform::errorRegistrations() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return errorRegistrations_;
}

std::vector<Notification> RecordingPlatform::sent(const std::string& name) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Notification> result;
  std::copy_if(sent_.begin(), sent_.end(), std::back_inserter(result),
               [&](const Notification& notification) { return notification.name == name; });
  return result;
}

// With the lock held, so that an unregister call waits for the callback, as it does on a terminal.
void RecordingPlatform::deliver(const std::string& name, const std::string& to,
                                const zelipc::JSObject& payload) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const ReplyRegistration& registration : replyRegistrations_) {
    if (registration.name != name || registration.from != to) continue;
    registration.callback(registration.data, "somebody", to, name, payload, 0);
  }
}

void RecordingPlatform::deliverError(const std::string& from, const std::string& to,
                                     const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const ErrorRegistration& registration : errorRegistrations_) {
    registration.callback(registration.data, from, to, name, zelipc::JSObject(), 0);
  }
}

bool RecordingPlatform::nextSponsorRecord(std::string& record) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (nextSponsorRecord_ == answers.sponsorRecords.size()) {
    nextSponsorRecord_ = 0;
    return false;
  }
  record = answers.sponsorRecords[nextSponsorRecord_++];
  return true;
}

std::string sponsorRecord(const std::string& digits, const std::string& text) {
  const std::string identifier = "\x02\x03\x20\x08\x21\xC5";
  std::string record;
  appendInteger(record, 6);
  std::transform(digits.rbegin(), digits.rend(), std::back_inserter(record),
                 [](char digit) { return static_cast<char>(digit - '0'); });
  appendInteger(record, static_cast<std::uint32_t>(identifier.size()));
  record += identifier;
  appendInteger(record, static_cast<std::uint32_t>(text.size()));
  record += text;
  return record;
}

std::string memoryRecord(std::uint32_t octets) {
  std::string record;
  appendInteger(record, octets);
  record.resize(16);
  return record;
}

}  // namespace stubs
