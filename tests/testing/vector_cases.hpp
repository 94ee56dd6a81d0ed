// What files of vectors have in common: keys as JSON, how a case ends, and how many cases end so.
#pragma once

#include <map>
#include <string>

#include "tests/testing/testing.hpp"

namespace Testing {

using namespace Torvane;

/// How many cases ended in each way: what was done with them, or why they were refused. A test compares the
/// whole with outcomes.json, so that no case can silently stop running, or be refused for another reason.
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

/// A key for verifying: of a secp256k1 JWK its raw point, of any other the platform key.
inline JsonWebKey publicKeyOf(const json& jwk) {
    if (jwk.value("crv", "") != "secp256k1") return JsonWebKey(JOSE::JWK::initFrom(bytesOf(jwk.dump())));
    ByteBuffer point{0x04};
    for (const auto* coordinate : {"x", "y"})
        for (const auto byte : decoded(jwk, coordinate)) point.push_back(byte);
    return {Zennet::PublicKey(point, Zennet::KeyType::SECP256K1Key), JWKUse::JWK_SIG, "raw"};
}

/// Why the code was refused, by a JOSEError of the expected case: the description of the error that it wraps,
/// or its own where it wraps none. Fails the test when the code is accepted or the case is another.
template <class Code>
std::string reasonOf(JOSEError::Case expected, Code&& code) {
    try {
        code();
    } catch (const JOSEError& error) {
        EXPECT_EQ(error.errorCase(), expected) << error.errorDescription();
        return error.underlyingError() ? localizedDescription(error.underlyingError()) : error.errorDescription();
    }
    ADD_FAILURE() << "accepted, and should have been refused";
    return "accepted";
}

/// Runs each vector of a file, which counts itself in the outcomes. Where there are no such files the test is
/// skipped, and says how many cases that are.
template <class Case>
void runRfcVectors(const std::string& file, Case runCase) {
    const auto content = readRfcVectors(file);
    if (!content)
        GTEST_SKIP() << file << ": " << Outcomes::expected(file).at("cases")
                     << " cases skipped, for the RFC vectors are not here";
    Outcomes outcomes;
    for (const auto& vector : content->at("vectors")) {
        SCOPED_TRACE(vector.at("id").get<std::string>());
        outcomes.count("cases");
        runCase(vector, outcomes);
    }
    outcomes.expect(file);
}

/// The first of these members that is there: the files name the same thing in different ways.
inline json firstOf(const json& vector, std::initializer_list<const char*> pointers) {
    for (const auto* text : pointers)
        if (const json::json_pointer pointer(text); vector.contains(pointer)) return vector.at(pointer);
    return "";
}

}  // namespace Testing
