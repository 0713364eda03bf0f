/// Everything that can be wrong with an application, a package, a certificate or a terminal's
/// folders, as the installer, `wz` and their reports know it: one row each, and the one source of
/// the words.
///
/// A row's id never changes its meaning and is never given away again; a row that is no longer used
/// goes, and its number with it. The families:
///
///     WZ-01nn  package files and archives          WZ-06nn  the folders of a terminal
///     WZ-02nn  certificates                        WZ-07nn  manifests
///     WZ-03nn  signatures                          WZ-08nn  files of an application
///     WZ-04nn  DER, below certificates             WZ-09nn  keys, and what is to be packed
///              and signatures                  WZ-10nn  the machine
///     WZ-05nn  what may stay installed
#ifndef WZ_WORDS_CODES_H
#define WZ_WORDS_CODES_H

#include <span>
#include <string_view>
#include <vector>

namespace wz {

enum class Severity {
  kError,    ///< a terminal refuses or removes it, or the tool cannot go on
  kWarning,  ///< it works, but perhaps not as it was meant; or only one part of it is passed over
};

/// The part of the library whose negative numbers tell causes. The numbers of two may be the same.
enum class Layer {
  kNone,
  kCertificate,       ///< crypto/certificate/certificate_record.h
  kSummary,           ///< crypto/certificate/certificate_summary.h
  kCertificateCheck,  ///< crypto/certificate/certificate_check.h
  kSignatureFile,     ///< crypto/signature/signature_file.h
  kPackageSignature,  ///< crypto/signature/package_signature.h
  kRsa,               ///< crypto/rsa/rsa.h
  kDigest,            ///< crypto/digest/digest.h
  kDer,               ///< crypto/der/der_error.h
};

struct Code {
  const char* id;  ///< "WZ-0123"
  Severity severity;
  const char* title;  ///< what is wrong, a short sentence without its stop
  /// The printf format that the library writes into its log; "" where it writes nothing for it.
  const char* logLine = "";
  /// The code that has the line of the log in which this one stays unsaid; "" where there is none.
  const char* behind = "";
  Layer layer = Layer::kNone;
  int number = 0;  ///< the library's own, of that layer
  const char* rule;
  const char* causes;
  const char* repair;
  const char* command = "";  ///< that repairs or shows more; "" where there is none
};

/// All rows, in the order of their ids. They live as long as the program.
[[nodiscard]] const std::vector<const Code*>& allCodes();

/// The row of an id; null for one that is none.
[[nodiscard]] const Code* findCode(std::string_view id);

/// The same for an id that is written in the program; a wrong one ends it.
[[nodiscard]] const Code& codeOf(std::string_view id);

/// The row of a number of the library; null where there is none.
[[nodiscard]] const Code* findCode(Layer layer, int number);

/// "error" or "warning".
[[nodiscard]] const char* severityText(Severity severity);

// The families, a source each.
[[nodiscard]] std::span<const Code> packageCodes();
[[nodiscard]] std::span<const Code> certificateCodes();
[[nodiscard]] std::span<const Code> signatureCodes();
[[nodiscard]] std::span<const Code> derCodes();
[[nodiscard]] std::span<const Code> stayCodes();
[[nodiscard]] std::span<const Code> terminalCodes();
[[nodiscard]] std::span<const Code> manifestCodes();
[[nodiscard]] std::span<const Code> fileCodes();
[[nodiscard]] std::span<const Code> keyCodes();
[[nodiscard]] std::span<const Code> machineCodes();

}  // namespace wz

#endif  // WZ_WORDS_CODES_H
