/// \file
/// The runtime of the terminal's application platform: runs installed applications, prepares the
/// directories that packages are dropped into and hands out the terminal's certificates.
///
/// No function lets an exception out. Strings are byte strings; the paths that are returned are
/// static and stay good until the process ends.
#ifndef WZAPP_WZAPP_H
#define WZAPP_WZAPP_H

#include <map>
#include <string>

#include "wzapp/counted.h"

/// Marks what the library exports.
#if defined(__GNUC__)
#define WZAPP_API __attribute__((visibility("default")))
#else
#define WZAPP_API
#endif

namespace wzapp {

/// Handle of a running application; what is behind it stays with the library.
class WZAPP_API WZApp : public counted {
 public:
  virtual ~WZApp();
};

/// Starts an installed application on a thread of its own and returns as soon as that thread
/// exists.
///
/// \param app       emptied first, whatever the outcome; refers to the application on success.
///                  Dropping it does not stop the application.
/// \param display   display of the GUI service.
/// \param region    region of that display; 0 is the whole of it.
/// \param manifest  path of the application's manifest, JSON or sectioned key/value text.
/// \param entry     "desktop", or the id of one of the manifest's "imports_trigger" entries.
/// \param params    first properties of the application. Those that begin with "wz_" and that the
///                  library sets itself are overwritten.
/// \param onExit    called once on the application's thread after it has ended, with the page's
///                  result (negative when it could not be shown) and its final properties. It must
///                  neither throw nor call wzAppCancel for this application. Null: nobody is told.
/// \param user      first argument of `onExit`.
/// \return 0 started; 1 `manifest` or `entry` is null; 2 the manifest cannot be read, has more than
///         1 MiB, or names the application by an id that is no plain name (".", "..", one with a
///         slash, a backslash or a zero octet in it, or with a colon at its end); 3 it names no
///         page for `entry`; 4 the thread cannot be created or memory is out; 5 the configuration
///         root is unusable. `onExit` is called for 0 only.
WZAPP_API int wzAppRun(counted_ptr<WZApp>& app, int display, int region, const char* manifest,
                       const char* entry, const std::map<std::string, std::string>& params,
                       void (*onExit)(void* user, int result,
                                      const std::map<std::string, std::string>& properties),
                       void* user);

/// The same on display 0.
WZAPP_API int wzAppRun(counted_ptr<WZApp>& app, int region, const char* manifest, const char* entry,
                       const std::map<std::string, std::string>& params,
                       void (*onExit)(void* user, int result,
                                      const std::map<std::string, std::string>& properties),
                       void* user);

/// Asks the application behind the non-empty handle `app` to end and waits until it has, its
/// `onExit` included. Returns at once when it already has. Not to be called from its `onExit`.
WZAPP_API void wzAppCancel(const counted_ptr<WZApp>& app);

/// Obsolete: says so on standard error and does nothing else.
WZAPP_API void wzSetAppFSRoot(const std::string& path);

/// Where packages are dropped for installation.
WZAPP_API const char* wzInstallSourceDir();

/// Holds one directory for each installed application.
WZAPP_API const char* wzInstallAppRoot();

/// Holds one directory for each installed application's marketplace manifest.
WZAPP_API const char* wzInstallManifestRoot();

/// Makes sure that the source directory exists, belongs to the group "system" and is open to all,
/// since other programs drop their packages there.
///
/// \param log   called on this thread with one line that begins "Error: " when something fails;
///              `format` is printf style and carries its own line feed. Not null.
/// \param user  first argument of `log`.
/// \return 0 on success, 2 on failure.
WZAPP_API int wzInstallCreateSourceDir(void (*log)(void* user, const char* format, ...),
                                       void* user);

/// The same without a report.
WZAPP_API int wzInstallCreateSourceDir();

/// Installs every package waiting in wzInstallSourceDir(), removes the applications that may no
/// longer stay, and tells which are installed.
///
/// Blocks until the run is over. Runs follow one another but share one log, so call this from one
/// thread, and not from `log`. What fails before the run begins is reported to the log of the call
/// before.
///
/// A package is installed when its signer's certificate, which it may bring along, is one that the
/// terminal trusts. The source directory may be written by anybody: the octets that are verified
/// are copied, in the same pass, to a file that only this process's user can change, and installed
/// from there. Whatever other users do meanwhile, nothing unverified is installed, and outside the
/// source directory and the configuration root nothing is written or removed.
///
/// Package files are deleted whatever their outcome, once what they brought is on stable storage;
/// where that cannot be had they stay, and the result is 2. What a run that was cut short has left
/// to do is done by the next.
///
/// A run that cannot find out what is installed, for a reason that may pass (no descriptor, no
/// memory, an input error, a security service that does not tell the sponsor), judges nothing: what
/// was installed stays, what the run has brought anew is taken back, packages stay, and the result
/// is 2.
///
/// \param log   called on this thread, once per message; `format` is printf style and carries its
///              own line feed. It may call anything but wzInstall. Null: nothing is reported.
/// \param user  first argument of every call of `log`.
/// \return 0 packages went in; 1 there were none, or the source directory cannot be listed; 2 at
///         least one error, memory is out, or the configuration root is unusable; 3 at least one
///         warning and no error.
WZAPP_API int wzInstall(void (*log)(void* user, const char* format, ...), void* user);

/// Replaces `archive` by a POSIX ustar archive of all certificates, one DER file each: first the
/// terminal's own, named "os", the serial number and ".crt", then the authorities that are compiled
/// in, named "wz", the serial number and ".crt".
///
/// A certificate that does not parse is left out. The archive's size is a multiple of 512 octets
/// and at least 1024, the two blocks that end it; the string is empty when memory is out. Not to be
/// called on two threads at once, nor while another thread installs packages.
///
/// A serial number stands in a name octet by octet in reverse order, at most eleven of them and up
/// to the first zero, as the certificate has it: a name may hold any other octet, slashes included,
/// and two files may share one. Check the names before files of them are made.
WZAPP_API void wzGetCertificateArchive(std::string& archive);

}  // namespace wzapp

#endif  // WZAPP_WZAPP_H
