// Common code of the vector tests: keys from JSON, and counts of how the cases end.
#pragma once

#include <iostream>
#include <map>
#include <string>

#include "tests/testing/testing.hpp"

namespace Testing {

using namespace Torvane;

/// Number of cases by outcome: what was done with them, or why they were rejected. A test compares all counts with
/// outcomes.json, so that no case can silently stop running, or be rejected for another reason.
class Outcomes {
  public:
    void count(const std::string& outcome) { ++counts_[outcome]; }
    void expect(const std::string& name) const { EXPECT_EQ(json(counts_), expected(name)); }
    static json expected(const std::string& name) { return readVectors("outcomes.json").at(name); }

  private:
    std::map<std::string, int> counts_;
};

/// A member in base64url or base64, decoded.
inline ByteBuffer decoded(const json& object, const char* member) {
    return fromBase64(object.at(member).get<std::string>());
}

inline SecKey privateKeyOf(const json& jwk) {
    return JOSE::JWK::initPrivateFrom(bytesOf(jwk.dump())).converted();
}

/// A key for verifying: the raw point of a secp256k1 JWK, the platform key of any other.
inline JsonWebKey publicKeyOf(const json& jwk) {
    if (jwk.value("crv", "") != "secp256k1") return JsonWebKey(JOSE::JWK::initFrom(bytesOf(jwk.dump())));
    ByteBuffer point{0x04};
    for (const auto* coordinate : {"x", "y"}) {
        for (const auto byte : decoded(jwk, coordinate)) point.push_back(byte);
    }
    return {Zennet::PublicKey(point, Zennet::KeyType::SECP256K1Key), JWKUse::JWK_SIG, "raw"};
}

/// The description of the error that a JOSEError wraps, or of the JOSEError itself when it wraps none. Fails the test
/// when the code does not throw, or throws another case than the expected one.
template <class Code>
std::string reasonOf(JOSEError::Case expected, Code&& code) {
    try {
        code();
    } catch (const JOSEError& error) {
        EXPECT_EQ(error.errorCase(), expected) << error.errorDescription();
        return error.underlyingError() ? localizedDescription(error.underlyingError()) : error.errorDescription();
    }
    ADD_FAILURE() << "accepted, and should have been rejected";
    return "accepted";
}

/// Runs each vector of a file; runCase counts it in the outcomes. Without the files the test is skipped, and prints how
/// many cases it skipped. counts.py adds the cases up, so that no file can be left out.
template <class Case>
void runRfcVectors(const std::string& file, Case runCase) {
    const auto content = readRfcVectors(file);
    const auto cases =
        content ? content->at("vectors").size() : Outcomes::expected(file).at("cases").get<std::size_t>();
    std::cout << "COUNT cases of RFCs, run or skipped " << cases << std::endl;
    if (!content) GTEST_SKIP() << file << ": " << cases << " cases skipped, since the RFC vectors are not here";
    Outcomes outcomes;
    for (const auto& vector : content->at("vectors")) {
        SCOPED_TRACE(vector.at("id").get<std::string>());
        outcomes.count("cases");
        runCase(vector, outcomes);
    }
    outcomes.expect(file);
}

/// The first of these members that exists: the files have different names for the same thing.
inline json firstOf(const json& vector, std::initializer_list<const char*> pointers) {
    for (const auto* text : pointers) {
        if (const json::json_pointer pointer(text); vector.contains(pointer)) return vector.at(pointer);
    }
    return "";
}

}  // namespace Testing
