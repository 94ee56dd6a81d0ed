// Readers for test vectors: the project's own, and the published examples of the RFCs, which may be absent.
#pragma once

#include <iostream>
#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "torvane/platform/core/bytes.hpp"

#include "tests/testing/expect_error.hpp"

namespace Testing {

using namespace Torvane;

/// A file of tests/vectors.
nlohmann::json readVectors(const std::string& fileName);

/// A file of the folder that the environment variable TORVANE_RFC_VECTORS names, or else of the folder beside the
/// project; nothing when that folder does not exist.
std::optional<nlohmann::json> readRfcVectors(const std::string& fileName);

/// Finds the row of that name in a list of a file of tests/vectors.
/// @throws std::runtime_error when no row has the name, or more than one.
nlohmann::json rowNamed(const std::string& fileName, const char* list, const std::string& name);

/// Runs the code with each row of a list in a file of tests/vectors. Expects that `count` rows ran, and that no two
/// have the same name.
template <class Code>
void forEachRow(const std::string& fileName, const char* list, std::size_t count, Code&& code) {
    const auto rows = readVectors(fileName).at(list);
    std::set<std::string> names;
    std::size_t ran = 0;
    for (const auto& row : rows) {
        const auto name = row.value("name", row.dump());
        SCOPED_TRACE(name);
        EXPECT_TRUE(names.insert(name).second) << "another row has this name";
        code(row);
        ++ran;
    }
    EXPECT_EQ(ran, count) << fileName << ": " << list;
}

/// The same for hostile input: the code has to throw the "error" of a row, or nothing where it has none. Prints how
/// many rows were rejected, which counts.py adds up.
template <class Code>
void forEachHostileRow(const std::string& fileName, const char* list, std::size_t count, Code&& code) {
    int rejected = 0;
    forEachRow(fileName, list, count, [&](const nlohmann::json& row) {
        EXPECT_ERROR_TEXT(code(row), row.value("error", "nothing was thrown"));
        rejected += row.contains("error") ? 1 : 0;
    });
    std::cout << "COUNT hostile cases rejected " << rejected << std::endl;
}

ByteBuffer bytesOf(const std::string& text);

/// Decodes base64url or standard base64 with OpenSSL's decoder, which is lenient.
/// @throws std::runtime_error when the text is neither.
ByteBuffer fromBase64(std::string text);

ByteBuffer fromHex(const std::string& text);

}  // namespace Testing
