// Somebody who changes files beside the installer, all the time, from a process of his own.
#ifndef WZAPP_TESTS_RACES_ATTACKER_H
#define WZAPP_TESTS_RACES_ATTACKER_H

#include <sys/types.h>

#include <cstdint>
#include <functional>

namespace wzapp_test {

// Strikes again and again from construction to destruction. Begin it while the calling process has
// no other thread. `strike` gets the number of the strike, from 0, and runs in a process that
// shares the terminal and nothing else; it must not assert.
class Attacker {
 public:
  explicit Attacker(const std::function<void(std::uint64_t number)>& strike);
  Attacker(const Attacker&) = delete;
  Attacker& operator=(const Attacker&) = delete;
  ~Attacker();

  // Between the two nothing is struck: what is there can be looked at.
  void hold();
  void goOn();

  [[nodiscard]] std::uint64_t strikes() const;  // so far

 private:
  struct Shared;

  Shared* shared_;  // memory of both processes
  pid_t process_;
};

// Exchanges what two names stand for, at once: never is there nothing. Neither need exist.
void exchange(const char* one, const char* other);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_RACES_ATTACKER_H
