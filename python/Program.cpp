#include <pybind11/stl.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/SymbolicExprCopy.hpp"
#include "eval/SymbolicExprEvalError.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "python/Expression.hpp"
#include "python/Module.hpp"
#include "tools/Text.hpp"

namespace ksexpr::python {

using KS::SymbolicExprBindings;
using KS::SymbolicExprId;
using KS::SymbolicExprProgram;
using KS::Eval::Scalar;

namespace {

std::string nameOf(const KS::SymbolicExprTable& aTable, SymbolicExprId aId) {
  return KS::SymbolicExprPrinter(aTable, true, false, false)(aId);
}

// Expressions in a table of their own, to which nothing is added after it was made: so programs run
// beside each other and beside whatever else the expressions' tables are used for.
class Program {
 public:
  explicit Program(const std::vector<Expression>& aExpressions) {
    table.addBoolSymbols();
    Places places;
    for (auto next = aExpressions.begin(); next != aExpressions.end();) {
      next = addWhileOfOneTable(next, aExpressions.end(), places);
    }
    const WithoutInterpreter leave;
    program.emplace(table, roots);
    for (SymbolicExprId id = 0; id < table.size(); ++id) {
      if (isVariable(table, id)) variables.emplace(nameOf(table, id), id);
    }
  }

  std::size_t size() const { return columns.size(); }
  // By expression: which of the program's roots it is. Many blocks of a model have one condition.
  const std::vector<std::size_t>& rootsByColumn() const { return columns; }
  const KS::SymbolicExprTable& getTable() const { return table; }
  const SymbolicExprProgram& get() const { return *program; }

  // The variable that a name or an expression means; nothing where no expression mentions it.
  std::optional<SymbolicExprId> variable(py::handle aKey) const {
    const std::string name = variableName(aKey);
    const auto found = variables.find(name);
    if (found == variables.end()) return std::nullopt;
    return found->second;
  }

 private:
  using Iterator = std::vector<Expression>::const_iterator;
  using Places = std::unordered_map<SymbolicExprId, std::size_t>;
  // Adds expressions to the roots, each distinct one once. Returns the first one of another table.
  Iterator addWhileOfOneTable(Iterator aFrom, Iterator aEnd, Places& aPlaces) {
    Table& source = *aFrom->table;
    return source.lock.lengthy([&] {
      const KS::SymbolicExprCopy copy(source.nodes, table);
      auto next = aFrom;
      for (; next != aEnd && next->table == aFrom->table; ++next) {
        const SymbolicExprId id = copy(operatorsOf(*next));
        const auto [place, isNew] = aPlaces.emplace(id, roots.size());
        if (isNew) roots.push_back(id);
        columns.push_back(place->second);
      }
      return next;
    });
  }

  static std::string variableName(py::handle aKey) {
    if (py::isinstance<Expression>(aKey)) {
      const auto& expression = aKey.cast<const Expression&>();
      return expression.table->lock.brief(
          [&] { return nameOf(expression.table->nodes, expression.id); });
    }
    const std::string text = utf8(aKey, "the name of a variable");
    KS::SymbolicExprTable scratch;
    scratch.addBoolSymbols();
    const SymbolicExprId id = KS::SymbolicExprParser(scratch, false)(text);
    if (id == KS::invalidSymbolicExprId || !isVariable(scratch, id)) {
      throw std::invalid_argument('"' + shortened(text) + "\" does not name a variable");
    }
    return nameOf(scratch, id);
  }

  KS::SymbolicExprTable table;
  std::vector<SymbolicExprId> roots;
  std::vector<std::size_t> columns;
  std::optional<SymbolicExprProgram> program;
  std::unordered_map<std::string, SymbolicExprId> variables;
};

// The values of a variable: one for every configuration, or one for all.
struct Column {
  std::optional<SymbolicExprId> variable;
  std::vector<Scalar> values;
  bool isForAll = false;
};

// The configurations that a mapping of names to arrays or single values describes.
struct Configurations {
  std::size_t count = 1;
  std::vector<Column> columns;

  SymbolicExprBindings bindingsFor(const Program& aProgram) const {
    SymbolicExprBindings bindings(aProgram.getTable());
    for (const Column& column : columns) {
      if (column.variable && column.isForAll) bindings.set(*column.variable, column.values[0]);
    }
    return bindings;
  }
  void bind(SymbolicExprBindings& aBindings, std::size_t aConfiguration) const {
    for (const Column& column : columns) {
      if (column.variable && !column.isForAll) {
        aBindings.set(*column.variable, column.values[aConfiguration]);
      }
    }
  }
};

// NumPy, or None where there is none.
py::object numpy() {
  try {
    return py::module_::import("numpy");
  } catch (py::error_already_set& error) {
    if (!error.matches(PyExc_ImportError)) throw;
    return py::none();
  }
}

// The elements of an array, as numbers of this type.
template <class Number, class Make>
void appendNumbers(Column& aColumn, const py::object& aRow, const char* aType, const Make& aMake) {
  const py::buffer_info content = py::buffer(aRow.attr("astype")(aType)).request();
  const auto* const numbers = static_cast<const Number*>(content.ptr);
  for (py::ssize_t i = 0; i < content.size; ++i) aColumn.values.push_back(aMake(numbers[i]));
}

Column columnOfArray(const py::object& aArray) {
  const auto numAxes = py::cast<std::size_t>(aArray.attr("ndim"));
  if (numAxes > 1) throw std::invalid_argument("the values of a variable have to be one row");
  Column column;
  column.isForAll = numAxes == 0;
  const py::object row = aArray.attr("reshape")(-1);
  const auto kind = py::cast<std::string>(aArray.attr("dtype").attr("kind"));
  if (kind == "b") {
    appendNumbers<bool>(column, row, "bool", [](bool truth) { return Scalar(truth); });
  } else if (kind == "i") {
    appendNumbers<std::int64_t>(column, row, "int64", scalarOfWhole);
  } else if (kind == "f") {
    appendNumbers<double>(column, row, "float64", [](double number) { return Scalar(number); });
  } else {
    const py::list values = row.attr("tolist")();
    for (const py::handle value : values) column.values.push_back(scalarOf(value));
  }
  return column;
}

// An array, one value, or a sequence, whose elements are what they are by themselves: as an array
// they would have to be of one type.
Column columnOf(py::handle aValue, const py::object& aNumpy) {
  if (!aNumpy.is_none() && py::hasattr(aValue, "__array__")) {
    return columnOfArray(aNumpy.attr("asarray")(aValue));
  }
  if (!isSequence(aValue)) return {std::nullopt, {scalarOf(aValue)}, true};
  return {std::nullopt, scalarsOf(aValue), false};
}

Configurations configurationsOf(const Program& aProgram, py::handle aMapping,
                                const py::kwargs& aKeywords, const py::object& aNumpy) {
  Configurations all;
  bool isCountKnown = false;
  forEachItem(aMapping, aKeywords, [&](py::handle key, py::handle value) {
    Column column = columnOf(value, aNumpy);
    column.variable = aProgram.variable(key);
    if (!column.isForAll) {
      if (isCountKnown && column.values.size() != all.count) {
        throw std::invalid_argument("there are " + std::to_string(column.values.size()) +
                                    " values of " + shortened(py::cast<std::string>(py::str(key))) +
                                    ", but " + std::to_string(all.count) + " of another variable");
      }
      all.count = column.values.size();
      isCountKnown = true;
    }
    all.columns.push_back(std::move(column));
  });
  return all;
}

// An array of so many rows and columns, and the memory that it has.
template <class Number>
std::pair<py::object, Number*> makeArray(std::size_t aRows, std::size_t aColumns, const char* aType,
                                         const char* aFormat, const py::object& aNumpy) {
  py::object array;
  if (!aNumpy.is_none()) {
    array = aNumpy.attr("empty")(py::make_tuple(aRows, aColumns), aType);
  } else {
    const std::size_t size = aRows * aColumns * sizeof(Number);
    const py::object bytes = py::reinterpret_steal<py::object>(
        PyByteArray_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(size)));
    if (!bytes) throw py::error_already_set();
    array = py::reinterpret_steal<py::object>(PyMemoryView_FromObject(bytes.ptr()));
    if (size > 0) array = array.attr("cast")(aFormat, py::make_tuple(aRows, aColumns));
  }
  return {array, static_cast<Number*>(py::buffer(array).request(true).ptr)};
}

// Does the work of all configurations, in so many threads: `aRun(first, last)` that of some.
template <class Run>
void runInThreads(std::size_t aCount, std::size_t aThreads, const Run& aRun) {
  const std::size_t numThreads =
      std::clamp<std::size_t>(aThreads, 1, std::max<std::size_t>(aCount, 1));
  std::vector<std::exception_ptr> failures(numThreads);
  const auto runPart = [&](std::size_t part) {
    try {
      aRun(aCount * part / numThreads, aCount * (part + 1) / numThreads);
    } catch (...) {
      failures[part] = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  try {
    for (std::size_t part = 1; part < numThreads; ++part) threads.emplace_back(runPart, part);
  } catch (const std::system_error&) {
    // No more threads are to be had; this one does the rest.
  }
  const std::size_t numStarted = threads.size();
  runPart(0);
  for (std::size_t part = numStarted + 1; part < numThreads; ++part) runPart(part);
  for (std::thread& thread : threads) thread.join();
  for (const std::exception_ptr& failure : failures) {
    if (failure) std::rethrow_exception(failure);
  }
}

double numberOf(const SymbolicExprProgram::Outcome& aOutcome, std::size_t aConfiguration,
                std::size_t aExpression) {
  const auto place = [&] {
    return "configuration " + std::to_string(aConfiguration) + ", expression " +
           std::to_string(aExpression) + ": ";
  };
  if (!aOutcome.value) throw KS::SymbolicExprEvalError(place() + aOutcome.error);
  if (aOutcome.value->tag() == KS::Eval::Value::Vector) {
    throw KS::SymbolicExprEvalError(place() + "the value is a list");
  }
  return aOutcome.value->scalar().toDouble();
}

py::object run(const Program& aProgram, py::handle aMapping, std::size_t aThreads,
               const py::kwargs& aKeywords) {
  const py::object module = numpy();
  const Configurations configurations = configurationsOf(aProgram, aMapping, aKeywords, module);
  const std::vector<std::size_t>& roots = aProgram.rootsByColumn();
  const std::size_t width = roots.size();
  auto [array, numbers] = makeArray<double>(configurations.count, width, "float64", "d", module);
  {
    const WithoutInterpreter leave;
    double* const begin = numbers;
    runInThreads(configurations.count, aThreads, [&](std::size_t first, std::size_t last) {
      SymbolicExprBindings bindings = configurations.bindingsFor(aProgram);
      for (std::size_t i = first; i < last; ++i) {
        configurations.bind(bindings, i);
        const auto outcomes = aProgram.get().run(bindings);
        for (std::size_t k = 0; k < width; ++k) {
          begin[i * width + k] = numberOf(outcomes[roots[k]], i, k);
        }
      }
    });
  }
  return array;
}

py::object truths(const Program& aProgram, py::handle aMapping, std::size_t aThreads,
                  const py::kwargs& aKeywords) {
  using Holds = SymbolicExprProgram::Holds;
  const py::object module = numpy();
  const Configurations configurations = configurationsOf(aProgram, aMapping, aKeywords, module);
  const std::vector<std::size_t>& roots = aProgram.rootsByColumn();
  const std::size_t width = roots.size();
  auto [array, numbers] = makeArray<std::int8_t>(configurations.count, width, "int8", "b", module);
  {
    const WithoutInterpreter leave;
    std::int8_t* const begin = numbers;
    runInThreads(configurations.count, aThreads, [&](std::size_t first, std::size_t last) {
      SymbolicExprBindings bindings = configurations.bindingsFor(aProgram);
      for (std::size_t i = first; i < last; ++i) {
        configurations.bind(bindings, i);
        std::int8_t* next = begin + i * width;
        const auto outcomes = aProgram.get().truths(bindings);
        for (const std::size_t root : roots) {
          const Holds holds = outcomes[root].holds;
          *next++ = holds == Holds::Yes ? 1 : holds == Holds::No ? 0 : -1;
        }
      }
    });
  }
  return array;
}

}  // namespace

void definePrograms(py::module_& aModule) {
  using namespace py::literals;
  defineClass<Program>(
      aModule, "Program",
      "Expressions that are evaluated together, for one configuration after another. It has what "
      "it needs of them, so it lives and runs beside their tables, in any number of threads.")
      .def_static(
          "_make",
          [](const py::iterable& aExpressions) {
            std::vector<Expression> expressions;
            for (const py::handle item : aExpressions) {
              if (!py::isinstance<Expression>(item)) {
                throw py::type_error("a program is made of expressions");
              }
              expressions.push_back(item.cast<Expression>());
            }
            return std::make_unique<Program>(expressions);
          },
          "expressions"_a)
      .def("__len__", &Program::size, "The number of expressions.")
      .def("run", &run, "values"_a = py::none(), py::pos_only(), py::kw_only(), "threads"_a = 1,
           "The values of all expressions: an array of floats with a row for each configuration "
           "and a column for each expression. A variable has a value for each configuration, or "
           "one for all; names that no expression mentions are passed over. Raises EvalError where "
           "an expression has no value that is a number. The array is NumPy's, or a memoryview "
           "where there is no NumPy.")
      .def("truths", &truths, "values"_a = py::none(), py::pos_only(), py::kw_only(),
           "threads"_a = 1,
           "Whether the expressions hold, as far as the values decide it: the same array of small "
           "ints, 1 for yes, 0 for no and -1 where that is open.");
}

}  // namespace ksexpr::python
