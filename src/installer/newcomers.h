// Applications that a run brings to the terminal, as far as the terminal did not have them before.
//
// Where something that a judgement needs cannot be found out, nothing is judged: what was installed
// stays, and what is new is taken back, since nobody has admitted it. A new version of what was
// there stays, too: its signature was verified, and the version before it is gone.
#ifndef WZAPP_INSTALLER_NEWCOMERS_H
#define WZAPP_INSTALLER_NEWCOMERS_H

#include "installer/marketplace_rules.h"

namespace wzapp {

// For one run. The only exception is std::bad_alloc.
class Newcomers {
 public:
  // Notes what is there, before the first package. False, reported as an error, when that cannot be
  // found out: nothing may be installed then, for it could not be told from what was there.
  [[nodiscard]] bool noteWhatIsThere();

  // Removes the new applications and their manifests, reporting each; what cannot be listed even
  // now is left to the judgement of the next run. Data is left alone: it is none of theirs. Of the
  // ids in `installed` those of what is removed are added to `removed`.
  void takeBack(const AppIds& installed, AppIds& removed) const;

 private:
  bool isNoted_ = false;
  // In upper case.
  AppIds applications_;  // by their directories or their manifests, at the top of the root
  AppIds manifests_;     // by their directories in the manifest root
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_NEWCOMERS_H
