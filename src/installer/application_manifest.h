// The manifest that names an application and lists the sponsors who may install or remove it:
//
//   { "application": { "id": "shop" }, "sponsors": [ "123456" ] }
//
// or, in a file that is not JSON, sectioned key/value text:
//
//   [install]                  [uninstall]
//   appid = shop               appid = shop
//   sponsor = 123456, 654321   sponsor = 123456
//
// An id that is no plain name (support/app_id.h) is none at all. A file of more than
// kMaxManifestSize octets cannot be read.
//
// What cannot be read for a passing reason (support/finding.h) is reported as an error of the run,
// and is told from a manifest that says nothing: nobody is to be judged by it.
//
// One thread at a time runs an installation. The only exception is std::bad_alloc.
#ifndef WZAPP_INSTALLER_APPLICATION_MANIFEST_H
#define WZAPP_INSTALLER_APPLICATION_MANIFEST_H

#include <optional>
#include <string>

#include "support/finding.h"
#include "zelipc/zelipc.h"

namespace wzapp {

// Manifests of an application's directory below the manifest root.
inline constexpr const char* kMarketplaceManifest = "mpmanifest.mft";
inline constexpr const char* kUninstallManifest = "appuninstall.mft";

// What a sponsor is asked for. The key/value form has a section for each.
enum class SponsorMode { kInstall, kUninstall };

// Whether there is a manifest at `path`, whatever is in it.
[[nodiscard]] Finding findManifest(const std::string& path);

// Replaces `root` by the JSON form of the manifest at `path`. kNone when it has none or cannot be
// read.
[[nodiscard]] Finding readManifestJSON(zelipc::JSObject& root, const std::string& path);

// The application's id: of a key/value manifest the one for installing, or else the one for
// removing. Empty when there is none or the file cannot be read.
[[nodiscard]] std::string readManifestAppId(const std::string& path);

// The sponsor to expect: the terminal's, or nothing for a terminal without one. False, reported as
// an error of the run, when nobody can tell.
[[nodiscard]] bool findSponsor(std::string& sponsor);

enum class SponsorVerdict { kAccepted, kRefused, kUnknown };

// Whether the manifest at `path` names an application and lists `sponsor`, to the octet. Whatever
// else than acceptance is reported as an error. Sets `appId` to the application's id also when it
// is the sponsor that is refused; otherwise to nothing on failure.
[[nodiscard]] SponsorVerdict checkManifestSponsor(SponsorMode mode, const std::string& path,
                                                  const std::string& sponsor, std::string& appId);

// `upperName` without ".MFT" at its end, if something stands before it: what the manifest at the
// top of the application root belongs to. Nothing for another name.
[[nodiscard]] std::optional<std::string> manifestStem(const std::string& upperName);

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_APPLICATION_MANIFEST_H
