#include "torvane/platform/jose/internal/jws_writer.hpp"

#include <algorithm>
#include <span>

#include "torvane/platform/core/internal/add_sizes.hpp"
#include "torvane/platform/jose/internal/header_text.hpp"

namespace Torvane::JOSE {
namespace {

ByteBuffer encodeHeader(const JWSHeader& header) {
    const auto json = makeHeaderText(header);
    ByteBuffer text;
    text.reserve(base64urlSize(json.size()) + 1);
    appendBase64url(text, json);
    text.push_back('.');
    return text;
}

}  // namespace

JWSWriter::JWSWriter(const JWSHeader& header, ByteView payload, const Signer& signer)
    : payload_(payload), signer_(signer) {
    if (header.algorithm() != rawValue(signer.algorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the signer's.");
    }
    header_ = encodeHeader(header);
    compactSize_ = addSizes({header_.size(), base64urlSize(payload.size()), 1, base64urlSize(signer.signatureSize())});
    digest_.emplace(parameters(signer.algorithm()).hash);
}

JWSWriter::~JWSWriter() {
    wipe(chunk_.data(), longestChunk_);
}

ByteView JWSWriter::nextChunk() {
    switch (next_) {
        case Part::header:
            next_ = payload_.empty() ? Part::signature : Part::payload;
            digest_->update(header_);
            return header_;
        case Part::payload: return nextPayloadChunk();
        case Part::signature: return sign();
        case Part::none: break;
    }
    return {};
}

ByteView JWSWriter::nextPayloadChunk() {
    const auto bytes = payload_.first(std::min(payload_.size(), bytesPerChunk));
    payload_ = payload_.subspan(bytes.size());
    if (payload_.empty()) next_ = Part::signature;
    const auto chunk = encode(bytes, 0);
    digest_->update(chunk);
    return chunk;
}

// A signature always fits one chunk: those by the largest RSA keys have 2048 bytes.
ByteView JWSWriter::sign() {
    const auto digest = digest_->finish();
    digest_.reset();
    signature_ = signer_.signDigest(digest);
    next_ = Part::none;
    chunk_.front() = '.';
    return encode(signature_, 1);
}

// Writes the text of the bytes into the chunk, from the given position on; returns the chunk up to its end.
ByteView JWSWriter::encode(ByteView bytes, std::size_t position) {
    longestChunk_ = std::max(longestChunk_, position + base64urlSize(bytes.size()));
    return ByteView(chunk_).first(position + encodeBase64url(bytes, std::span(chunk_).subspan(position)));
}

}  // namespace Torvane::JOSE
