#pragma once

#include "tools/compare/tree_comparison.h"

namespace tarvel {

class Answer;

/// Sets the fields of a comparison: "counts" and the lists "moved", "removed", "added", "renamed", "named" and
/// "readdressed". Places count from 1. Field names are part of the interface, see the manual page.
void setChanges(Answer& answer, const TreeComparison& comparison);

}  // namespace tarvel
