#pragma once
// The layout of the store's file and its upgrades. Each step brings the schema from one version
// (PRAGMA user_version) to the next; a new file runs them all.

#include <cstdint>
#include <span>

#include "Database.hpp"

namespace tovanel::chat::store::detail {

/// Marks the file as a message store (PRAGMA application_id).
inline constexpr std::int32_t kApplicationID = 0x54564331;  // "TVC1"

/// The SQL of each step; step i makes version i + 1.
std::span<const char* const> schemaSteps();

/// The version this build writes: the number of steps.
int currentSchemaVersion();

/// Checks, without writing, that the open database is a message store this build reads, and
/// returns its version: 0 for a new, empty file, which holds nothing yet. Throws StoreError:
/// schemaTooNew for a newer version, notAStore for a database that is not a store.
int checkSchema(Database& database);

/// Brings the open database to the current schema, upgrading an older one step by step. Throws
/// StoreError: schemaTooNew for a newer version, notAStore for a database that is not a store.
void prepareSchema(Database& database);

}  // namespace tovanel::chat::store::detail
