/// What the library's parser says about a certificate, in words.
#ifndef CERTIFICATE_WORDS_H
#define CERTIFICATE_WORDS_H

namespace certificate_words {

/// Why parseCertificate refused a certificate, as the rest of a sentence: "it is not of version 3".
/// \param code  a wzapp::CertificateError; of any other number it is only said that it was refused.
[[nodiscard]] const char* whyNotParsed(int code);

/// The same for summariseCertificate (wzapp::SummaryError).
[[nodiscard]] const char* whyNotSummarised(int code);

}  // namespace certificate_words

#endif  // CERTIFICATE_WORDS_H
