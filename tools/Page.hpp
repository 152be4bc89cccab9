// A page that shows a model and its answers in a browser, on its own.
#pragma once

#include <string>

#include "tools/Question.hpp"

namespace ksexpr {

/// The page, as HTML: the tree of blocks, their conditions, the verdicts on these, and programs
/// from which the page works out which blocks are active for values that are set on it. Everything
/// that it needs is in it. Throws `AnswerError` for constraints that exclude each other.
std::string pageOf(const Question& aQuestion);

/// Writes a page to a file: all of it, or nothing where that fails. Throws `AnswerError`.
void writePage(const std::string& aPath, const std::string& aPage);

}  // namespace ksexpr
