// SPDX-License-Identifier: MIT
//
// Results of certificate operations, and the two choices that a caller sends. The values are the service's and pass
// through unchanged, so a variable may hold a value without a name here; docs/service-api.md lists them. Named here are
// the values that the library itself returns when the service did not answer; bridge::lastFailure() says why a command
// could not be carried out.
//
// All are 32 bits on the wire, and the numbers never change.
#pragma once

#include <cstdint>

// Of VpnCertsController::ParseCertFile.
enum class ParseCertFileResult : std::uint32_t {
    success = 0,        // from the service; the only value with which lists are read
    notCarriedOut = 1,  // the command
    fileUnreadable = 3, // the file is missing, empty or too large, or could not be read; nothing was sent
};

// Of the other operations of VpnCertsController, each named after its operation.
enum class ImportCertResult : std::uint32_t { notCarriedOut = 3 };
enum class ImportCRLResult : std::uint32_t { notCarriedOut = 2 };
enum class ExportCertResult : std::uint32_t { notCarriedOut = 3 };
enum class MakeCertRequestResult : std::uint32_t { notCarriedOut = 4 }; // also without a session

// How an object of a parsed file is stored on a token, and the format in which a certificate is exported.
enum class CertImportMode : std::uint32_t {};
enum class CertExportFormat : std::uint32_t {};
