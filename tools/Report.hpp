// How the conditions of a model are written out.
#pragma once

#include <chrono>
#include <iosfwd>

#include "tools/Conditions.hpp"

namespace ksexpr {

/// The layouts of a report.
enum class Format { Table, Json, Csv };

/// Writes the answers, or those of the dead blocks. A condition that is not available is "?" in a
/// table and in CSV, null in JSON; one that is always true is "true" in a table, else the empty
/// text. `aCForm` selects the form of tables and CSV; JSON has both.
void writeReport(const ConditionsResult& aResult, const ConditionsRequest& aRequest, Format aFormat,
                 bool aCForm, std::ostream& aOut);

/// Writes the line that sums up the work.
void writeSummary(const ConditionsResult& aResult, double aSeconds, std::ostream& aErr);

/// A bar on a terminal that appears when the work has taken a second and is gone afterwards.
class ProgressBar {
 public:
  /// Draws on `aErr` if `aIsTerminal`.
  ProgressBar(std::ostream& aErr, bool aIsTerminal);
  /// Removes the bar.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  /// Draws the bar if it is time to.
  void show(std::size_t aDone, std::size_t aTotal);

 private:
  std::ostream& err;
  bool isTerminal;
  bool isDrawn = false;
  std::chrono::steady_clock::time_point nextDraw;
};

}  // namespace ksexpr
