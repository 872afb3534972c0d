// SPDX-License-Identifier: Apache-2.0

// A configuration as its server reads it, as JSON.
#pragma once

#include "edit/inspection.h"
#include "report/json_writer.h"

namespace report {

// As docs/schema/inspect.json says, with a line end, piece by piece.
void WriteInspectionJson(const tov_edit::InspectedText& config,
                         const JsonWriter::WritePiece& write);

// The members of that object, one of an object that has been begun.
void WriteInspection(const tov_edit::InspectedText& config, JsonWriter& json);

}  // namespace report
