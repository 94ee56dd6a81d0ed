#include "cli/key_opening.hpp"

#include <filesystem>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/file_kind.hpp"
#include "cli/file_uri.hpp"
#include "cli/files.hpp"
#include "cli/pkcs11_uri.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;
using Zennet::KeyClass;

// Explains a file that is no key file, as far as the file can be read again.
void explainKeyFile(const std::string& uri) {
    std::error_code none;
    if (isPkcs11URI(uri) || !std::filesystem::is_regular_file(uri, none)) return;
    const auto kind = recogniseFile(readKeyFile(uri));
    if (kind == FileKind::pem || kind == FileKind::der) return;
    const bool isJWK = kind == FileKind::set || kind == FileKind::jwk;
    const auto what = kind == FileKind::other ? "is no key file" : describeFile(kind);
    throw Failure(ExitCode::key,
                  nameInput(uri) + ' ' + std::string(what) + "; a PEM, DER or PKCS #12 file is needed here.",
                  isJWK ? "`torvane jwks list` and `torvane jwks check` show it, and --peer takes it."
                  : kind == FileKind::token ? "`torvane inspect` shows it."
                                            : "");
}

}  // namespace

std::string findKeyFile(const std::string& uri) {
    if (uri == "-") {
        claimStandardInput();
        return "/dev/stdin";
    }
    rejectURL(uri);
    return isPkcs11URI(uri) ? chooseDriver(uri) : uri;
}

void rethrowForKey(const std::string& uri) {
    const auto thrown = std::current_exception();
    const auto* error = findError<KeyStoreError>(thrown);
    if (error == nullptr) std::rethrow_exception(thrown);
    if (!isPkcs11URI(uri)) {
        if (error->errorCase() == KeyStoreError::Case::keyNotFound) explainKeyFile(uri);
        std::rethrow_exception(thrown);
    }
    const bool isNameMissing = error->errorCase() == KeyStoreError::Case::keyNotFound && !namesObject(uri);
    throw Failure(chooseExitCode(thrown), shortenLists(error->errorDescription()),
                  isNameMissing ? "Name the key: add object=LABEL to the path of the URI." : findHint(thrown));
}

Zennet::Key openKeyFrom(const std::string& uri, KeyClass keyClass, const SecretSource& askForSecret,
                        LastPinTry lastPinTry) {
    const auto found = findKeyFile(uri);
    try {
        return Zennet::openKey(found, keyClass, askForSecret, lastPinTry);
    } catch (const KeyStoreError&) {
        rethrowForKey(found);
    }
}

}  // namespace Command
