// SPDX-License-Identifier: MIT
//
// What certificate operations answer, and the two choices that a caller sends along. The values are the service's and
// pass through unchanged, so a variable may hold one that has no name here; what the service at hand means by its
// own stands in docs/service-api.md. Named are the values that the library produces itself, when no answer of the
// service exists; bridge::lastFailure() says why a command could not be carried out.
//
// All are 32 bits on the wire, and the numbers never change.
#pragma once

#include <cstdint>

enum class ParseCertFileResult : std::uint32_t {
    success = 0,        // the service's own, and the one value for which lists are read
    notCarriedOut = 1,  // the command
    fileUnreadable = 3, // the file is missing, empty or too large, or could not be read; nothing was sent
};

enum class ImportCertResult : std::uint32_t { notCarriedOut = 3 };
enum class ImportCRLResult : std::uint32_t { notCarriedOut = 2 };
enum class ExportCertResult : std::uint32_t { notCarriedOut = 3 };
enum class MakeCertRequestResult : std::uint32_t { notCarriedOut = 4 }; // also without a session

// How an object of a parsed file is stored on a token, and in which form a certificate is exported.
enum class CertImportMode : std::uint32_t {};
enum class CertExportFormat : std::uint32_t {};
