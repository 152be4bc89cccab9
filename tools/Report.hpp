// How the conditions of a model are written out.
#pragma once

#include <chrono>
#include <iosfwd>
#include <string>

#include "tools/Conditions.hpp"
#include "tools/Layout.hpp"

namespace ksexpr {

/// Answers the blocks and writes each as it is answered; a table when all are, since its columns
/// are as wide as their contents. A condition that is not available is "?" in a table and in CSV,
/// null in JSON; one that is always true is "true" in a table, else the empty text. Throws
/// `WriteError`.
void writeReport(Conditions& aConditions, const ConditionsRequest& aRequest, const Layout& aLayout,
                 std::ostream& aOut);

/// The line that sums up the work.
std::string summary(const Conditions& aConditions, double aSeconds);

/// A bar on a terminal that appears when the work has taken a second and is gone afterwards.
class ProgressBar {
 public:
  /// Draws on `aErr` if `aIsTerminal`.
  ProgressBar(std::ostream& aErr, bool aIsTerminal);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  /// Removes the bar.
  ~ProgressBar();
  /// Draws the bar if it is time to, and removes it when all is done.
  void show(std::size_t aDone, std::size_t aTotal);
  /// Removes the bar, so that something else can be written.
  void hide();

 private:
  std::ostream& err;
  bool isTerminal;
  bool isDrawn = false;
  std::chrono::steady_clock::time_point nextDraw;
};

}  // namespace ksexpr
