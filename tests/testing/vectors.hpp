// Test vectors: the ones that are part of the project, and the published examples of the RFCs, which are read
// where they lie and may be absent.
#pragma once

#include <iostream>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "torvane/platform/core/bytes.hpp"

#include "tests/testing/expect_error.hpp"

namespace Testing {

using namespace Torvane;

/// A file of tests/vectors.
nlohmann::json readVectors(const std::string& fileName);

/// A file of the folder that the environment variable TORVANE_RFC_VECTORS names, or of the one beside the
/// project; nothing when there is no such folder.
std::optional<nlohmann::json> readRfcVectors(const std::string& fileName);

/// Runs the code with each row of a list in a file of tests/vectors, which has so many.
template <class Code>
void forEachRow(const std::string& fileName, const char* list, std::size_t count, Code&& code) {
    const auto rows = readVectors(fileName).at(list);
    EXPECT_EQ(rows.size(), count);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.dump());
        code(row);
    }
}

/// The same for hostile input: the code has to throw the "error" of a row, or nothing where it has none. How many rows
/// were refused is printed, and added up by counts.py.
template <class Code>
void forEachHostileRow(const std::string& fileName, const char* list, std::size_t count, Code&& code) {
    int refused = 0;
    forEachRow(fileName, list, count, [&](const nlohmann::json& row) {
        EXPECT_REFUSED(code(row), row.value("error", "nothing was thrown"));
        refused += row.contains("error") ? 1 : 0;
    });
    std::cout << "COUNT hostile cases refused " << refused << std::endl;
}

ByteBuffer bytesOf(const std::string& text);

/// From base64url or standard base64, by OpenSSL's decoder, which is lenient; throws std::runtime_error.
ByteBuffer fromBase64(std::string text);

ByteBuffer fromHex(const std::string& text);

}  // namespace Testing
