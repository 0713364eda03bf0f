#include "packaging/package_maker.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <filesystem>
#include <map>
#include <system_error>

#include "installer/application_manifest.h"
#include "packaging/work_folder.h"
#include "packaging/zip_writer.h"
#include "support/text.h"

namespace packaging {
namespace {

constexpr char kPackageName[] = "whole";  // in the work folder, where inner packages end in .zip

// ---- Names -------------------------------------------------------------------------------------

bool endsInUpperCase(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         wzapp::toUpper(text.substr(text.size() - ending.size())) == ending;
}

// An application whose id ends like a manifest package's name gets one more word.
std::string applicationStem(const std::string& id) {
  return endsInUpperCase(id, "-O") || endsInUpperCase(id, "-U") ? id + ".app" : id;
}

// ---- Manifests ---------------------------------------------------------------------------------

std::string manifestText(const std::string& id, const std::string& version,
                         const std::vector<std::string>& sponsors) {
  rapidjson::StringBuffer buffer;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
  const auto put = [&writer](const std::string& text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  };
  writer.SetIndent(' ', 2);
  writer.StartObject();
  writer.Key("application");
  writer.StartObject();
  writer.Key("id");
  put(id);
  if (!version.empty()) {
    writer.Key("version");
    put(version);
  }
  writer.EndObject();
  writer.Key("sponsors");
  writer.StartArray();
  for (const std::string& sponsor : sponsors) put(sponsor);
  writer.EndArray();
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

// ---- A package under way -----------------------------------------------------------------------

// What goes into the outer archive: files of the work folder and elsewhere, by their entry names.
class Assembly {
 public:
  [[nodiscard]] bool begin(const std::string& target, std::string& error) {
    return folder_.makeBeside(target, error);
  }

  // Where the inner package of this name is to be written.
  [[nodiscard]] std::string pathOf(const std::string& innerName) const {
    return folder_ / innerName;
  }

  // Adds an inner package that has been written, its signature and the signer's certificate.
  [[nodiscard]] bool addInner(const std::string& stem, const Signer& signer, std::string& error) {
    const std::string archive = stem + ".zip";
    std::error_code failure;
    if (std::filesystem::file_size(pathOf(archive), failure) >= kZipSizeLimit || failure) {
      error = archive + " comes to 4 GiB or more, which terminals do not read; put less into it";
      return false;
    }
    if (!signer.signArchive(pathOf(archive), contents_[stem + ".p7s"], error)) return false;
    files_[archive] = pathOf(archive);
    files_[std::string(signer.name()) + ".crt"] = signer.certificateFile();
    return true;
  }

  // Writes the outer archive, certificates and archives before signatures, each in the order of
  // the names, and makes it the target.
  [[nodiscard]] bool finish(const PackageJudge& judge, std::string& error) const {
    ZipWriter zip;
    if (!zip.create(folder_ / kPackageName, error)) return false;
    for (const auto& [name, path] : files_) {
      const bool isArchive = endsInUpperCase(name, ".ZIP");
      const ZipMethod method = isArchive ? ZipMethod::kStored : ZipMethod::kDeflated;
      if (!zip.addFile(name, path, method, error)) return false;
    }
    for (const auto& [name, content] : contents_) {
      if (!zip.addContent(name, content, error)) return false;
    }
    return zip.finish(error) && judge(folder_ / kPackageName) &&
           folder_.moveToTarget(kPackageName, error);
  }

 private:
  WorkFolder folder_;
  std::map<std::string, std::string> files_;     // entry name -> path
  std::map<std::string, std::string> contents_;  // entry name -> octets
};

bool writeApplication(const ApplicationOrder& order, const std::string& path, std::string& error) {
  const ApplicationFolder& folder = order.folder;
  ZipWriter zip;
  zip.setWatcher(order.watcher);
  if (!zip.create(path, error) ||
      !zip.addFile(folder.id + ".MFT", folder.manifest.path, ZipMethod::kDeflated, error)) {
    return false;
  }
  for (const FolderFile& file : folder.files) {
    if (!zip.addFile(folder.id + "/" + file.name, file.path, ZipMethod::kDeflated, error)) {
      return false;
    }
  }
  return zip.finish(error);
}

bool writeMarketplace(const ApplicationOrder& order, const std::string& path, std::string& error) {
  const ApplicationFolder& folder = order.folder;
  const std::string prefix = folder.id + "/";
  ZipWriter zip;
  if (!zip.create(path, error)) return false;
  if (!folder.ownerConfiguration.empty() &&
      !zip.addFile(prefix + kOwnerConfiguration, folder.ownerConfiguration, ZipMethod::kDeflated,
                   error)) {
    return false;
  }
  return zip.addContent(prefix + wzapp::kMarketplaceManifest,
                        manifestText(folder.id, folder.version, order.sponsors), error) &&
         zip.finish(error);
}

bool writeRemoval(const RemovalOrder& order, const std::string& path, std::string& error) {
  ZipWriter zip;
  return zip.create(path, error) &&
         zip.addContent(order.folder + "/" + wzapp::kUninstallManifest,
                        manifestText(order.id, order.version, order.sponsors), error) &&
         zip.finish(error);
}

}  // namespace

bool makePackage(const ApplicationOrder& order, const PackageSigners& signers,
                 const std::string& target, const PackageJudge& judge, std::string& error) {
  const std::string stem = applicationStem(order.folder.id);
  Assembly assembly;
  if (!assembly.begin(target, error) ||
      !writeApplication(order, assembly.pathOf(stem + ".zip"), error) ||
      !assembly.addInner(stem, signers.application.value(), error)) {
    return false;
  }
  if (order.applicationOnly) return assembly.finish(judge, error);
  const std::string marketplaceStem = order.folder.id + "-O";
  return writeMarketplace(order, assembly.pathOf(marketplaceStem + ".zip"), error) &&
         assembly.addInner(marketplaceStem, signers.manifest.value(), error) &&
         assembly.finish(judge, error);
}

bool makePackage(const std::vector<RemovalOrder>& orders, const PackageSigners& signers,
                 const std::string& target, const PackageJudge& judge, std::string& error) {
  Assembly assembly;
  if (!assembly.begin(target, error)) return false;
  for (const RemovalOrder& order : orders) {
    const std::string stem = order.id + "-U";
    if (!writeRemoval(order, assembly.pathOf(stem + ".zip"), error) ||
        !assembly.addInner(stem, signers.manifest.value(), error)) {
      return false;
    }
  }
  return assembly.finish(judge, error);
}

}  // namespace packaging
