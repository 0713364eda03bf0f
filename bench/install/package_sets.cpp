#include "bench/install/package_sets.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/install/file_content.h"
#include "bench/install/zip_reader.h"
#include "packaging/package_maker.h"
#include "packaging/zip_writer.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kBlockSize = 65536;
constexpr int kFilesInFolder = 50;

using Fill = void (*)(Numbers& numbers, std::size_t size, std::string& block);

std::string format(const char* text, int number) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, text, number);
  return buffer;
}

std::string manifestOf(const std::string& id) {
  return R"({
  "application": {"id": ")" +
         id + R"(", "name": "Benchmark", "version": "1.0.0"},
  "sponsors": [")" +
         kBenchSponsor + R"("],
  "desktop": {"file": "index.html", "icon": "icon.png", "title": "Benchmark"},
  "exports_trigger": [{"id": ")" +
         id + R"(.open"}],
  "imports_sdk": {"triggers_min_version": "1.0", "wzruntime_min_version": "2.40"},
  "imports_trigger": [{"id": "pay", "file": "pay.html"}, {"id": "refund", "optional": true}],
  "imports_api": [{"id": "print"}],
  "imports_hardware": {"platforms": ["T7", "T30"]}
}
)";
}

void writeFile(const std::string& path, std::uint64_t size, Fill fill, Numbers& numbers) {
  std::ofstream file(path, std::ios::binary);
  std::string block;
  while (size > 0) {
    fill(numbers, static_cast<std::size_t>(std::min(size, kBlockSize)), block);
    file << block;
    size -= block.size();
  }
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

// An even file is a script, the odd one behind it an image of the same size; the sizes of such
// pairs go up and come down again, and make the average.
std::uint64_t sizeOf(const PackageSet& set, int file, Numbers& numbers, std::uint64_t& before) {
  if (file % 2 != 0) return before;
  const bool isAnswer = file % 4 != 0;
  before = isAnswer ? 2 * set.fileOctets - before
                    : set.fileOctets / 2 + numbers.below(set.fileOctets + 1);
  return before;
}

// Writes the application below `folder`, as the maker of packages takes it.
packaging::ApplicationFolder writeApplication(const PackageSet& set, int number,
                                              const std::string& folder) {
  packaging::ApplicationFolder application;
  application.id = format("bench%03d", number);
  application.version = "1.0.0";
  application.sponsors = {kBenchSponsor};
  application.manifest = {packaging::kFolderManifest, folder + "/" + packaging::kFolderManifest};
  std::ofstream(application.manifest.path) << manifestOf(application.id);

  Numbers numbers(static_cast<std::uint64_t>(set.name) * 1000 + static_cast<std::uint64_t>(number));
  std::uint64_t size = 0;
  for (int file = 0; file < set.files; ++file) {
    size = sizeOf(set, file, numbers, size);
    const bool isScript = file % 2 == 0;
    const std::string part = format("part%02d", file / kFilesInFolder);
    const std::string name = part + "/" + format(isScript ? "code%04d.js" : "image%04d.png", file);
    fs::create_directory(fs::path(folder) / part);
    writeFile(folder + "/" + name, size, isScript ? fillWithScript : fillWithImage, numbers);
    application.files.push_back({name, folder + "/" + name});
  }
  return application;
}

void require(bool isDone, const std::string& error) {
  if (!isDone) throw std::runtime_error(error);
}

packaging::Signer loadSigner(const std::string& keys, packaging::SignerRole role) {
  packaging::Signer signer;
  std::string error;
  require(signer.load(keys, role, "", error), error);
  return signer;
}

// Packs every entry of the archive that is stored, in place.
void deflateEntries(const std::string& path) {
  const std::string entryFile = path + ".entry";
  const std::string newFile = path + ".new";
  ZipReader archive(path, kBlockSize);
  packaging::ZipWriter writer;
  std::string error;
  require(writer.create(newFile, error), error);
  for (const ZipReader::Entry& entry : archive.entries()) {
    archive.writeTo(entry, entryFile);
    require(writer.addFile(entry.name, entryFile, packaging::ZipMethod::kDeflated, error), error);
  }
  require(writer.finish(error), error);
  fs::remove(entryFile);
  fs::rename(newFile, path);
}

bool takeAsItIs(const std::string& /*path*/) { return true; }

}  // namespace

void makePackages(const PackageSet& set, Packing packing, const std::string& keys,
                  const std::string& directory) {
  const packaging::PackageSigners signers{
      loadSigner(keys, packaging::SignerRole::kApplication),
      loadSigner(keys, packaging::SignerRole::kManifest),
  };
  const std::string folder = directory + "/application";
  for (int number = 0; number < set.applications; ++number) {
    fs::create_directory(folder);
    packaging::ApplicationOrder order;
    order.folder = writeApplication(set, number, folder);
    order.sponsors = order.folder.sponsors;
    std::string error;
    const std::string target = directory + "/" + order.folder.id + ".zip";
    const bool isMade = packaging::makePackage(order, signers, target, takeAsItIs, error);
    fs::remove_all(folder);
    require(isMade, error);
    if (packing == Packing::kDeflated) deflateEntries(target);
  }
}

}  // namespace bench
