// Uses the wrapping library, in its own tree and installed.
#include <wrapper.hpp>

int main() {
  KS::SymbolicExprTable table;
  return canHold(table, "N == 5 || N == 6") && !canHold(table, "N == 5 && N ~= 5") ? 0 : 1;
}
