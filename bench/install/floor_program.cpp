// The least that an installation by minizip costs: every inner package is inflated twice, once for
// both digests and once into a temporary file, and its entries once, into files. Nothing is
// verified, checked or deleted.

#include <filesystem>
#include <string>

#include "bench/install/measured_program.h"
#include "bench/install/zip_reader.h"
#include "crypto/digest/digest.h"
#include "installer/directories.h"

namespace {

namespace fs = std::filesystem;
using bench::ZipReader;

constexpr std::size_t kBlockSize = 8192;

void digest(ZipReader& archive, const ZipReader::Entry& entry) {
  wzapp::Sha1Context sha1;
  wzapp::Sha256Context sha256;
  wzapp::digestStart(&sha1);
  wzapp::digestStart(&sha256);
  archive.read(entry, [&](const unsigned char* data, std::size_t size) {
    wzapp::digestAdd(&sha1, &sha256, {data, size});
  });
  std::uint8_t output[wzapp::kSha256Size];
  wzapp::digestFinish(&sha1, output);
  wzapp::digestFinish(&sha256, output);
}

void extract(const char* root) {
  ZipReader archive(wzapp::kTemporaryFile, kBlockSize);
  bench::TreeWriter tree(root);
  for (const ZipReader::Entry& entry : archive.entries()) tree.write(archive, entry);
}

void installPackage(const std::string& path) {
  ZipReader archive(path, kBlockSize);
  for (const ZipReader::Entry& entry : archive.entries()) {
    if (!entry.name.ends_with(".zip")) continue;
    digest(archive, entry);
    archive.writeTo(entry, wzapp::kTemporaryFile);
    extract(entry.name.ends_with("-O.zip") ? wzapp::kManifestRoot : wzapp::kAppRoot);
    fs::remove(wzapp::kTemporaryFile);
  }
}

int install() {
  fs::create_directories(wzapp::kAppRoot);
  fs::create_directories(wzapp::kManifestRoot);
  for (const fs::directory_entry& file : fs::directory_iterator(wzapp::kSourceDir)) {
    if (file.path().extension() == ".zip") installPackage(file.path());
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) { return bench::runMeasured(argc, argv, install); }
