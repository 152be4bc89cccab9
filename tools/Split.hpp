// Cutting a model into models that answer by themselves.
#pragma once

#include <cstddef>
#include <string>

#include "tools/Commands.hpp"
#include "tools/Model.hpp"

namespace ksexpr {

/// Writes a model as so many models, each with about as many blocks of its own, the ancestors that
/// these continue, and all variables and constraints, into the files `aPrefix` + "1.json" and so
/// on. Together they have the conditions of the model; those of an ancestor stand in several.
/// Writes the names of the files to the answers, a line each. Throws `AnswerError` for a file that
/// cannot be written, and `WriteError`.
void splitModel(const Model& aModel, std::size_t aCount, const std::string& aPrefix,
                Streams& aStreams);

}  // namespace ksexpr
