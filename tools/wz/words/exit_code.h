/// How `wz` ends; every command's help lists these.
#ifndef WZ_WORDS_EXIT_CODE_H
#define WZ_WORDS_EXIT_CODE_H

namespace wz {

inline constexpr int kDone = 0;
inline constexpr int kApplicationFailed = 1;  // or: rejected, or what was waited for did not come
inline constexpr int kUsage = 2;
inline constexpr int kEnvironment = 3;  // the terminal, the machine or a file does not allow it

}  // namespace wz

#endif  // WZ_WORDS_EXIT_CODE_H
