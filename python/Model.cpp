#include <pybind11/stl.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/SymbolicExprCopy.hpp"
#include "python/Expression.hpp"
#include "python/Module.hpp"
#include "tools/Answerer.hpp"
#include "tools/Commands.hpp"
#include "tools/Question.hpp"
#include "tools/QuestionsCli.hpp"
#include "tools/Text.hpp"
#ifdef KSEXPR_DECIDES
#include "tools/Active.hpp"
#include "tools/Check.hpp"
#include "tools/Cover.hpp"
#include "tools/Diff.hpp"
#include "tools/Page.hpp"
#include "tools/Why.hpp"
#endif

namespace ksexpr::python {

using KS::SymbolicExprId;

namespace {

std::string withoutNewlines(std::string aMessages) {
  while (!aMessages.empty() && aMessages.back() == '\n') aMessages.pop_back();
  return aMessages;
}

// Has Python warn of messages, which come with their newlines.
void warn(const std::string& aMessages) {
  if (aMessages.empty()) return;
  const std::string text = withoutNewlines(aMessages);
  const py::object category = py::module_::import("ksexpr.errors").attr("ModelWarning");
  if (PyErr_WarnEx(category.ptr(), text.c_str(), 1) != 0) throw py::error_already_set();
}

Family familyOf(const py::str& aName) {
  const std::string name = utf8(aName, "a family");
  if (name == "vv") return VV;
  if (name == "cg") return CG;
  if (name == "s") return S;
  throw std::invalid_argument("a family is \"vv\", \"cg\" or \"s\", not \"" + shortened(name) +
                              '"');
}

// A model and one family of its conditions.
class LoadedModel {
 public:
  LoadedModel(std::unique_ptr<const Model> aModel, Family aFamily, std::shared_ptr<Table> aTable)
      : model(std::move(aModel)),
        family(aFamily),
        table(std::move(aTable)),
        children(model->blocks.size()),
        answers(model->blocks.size()),
        answerer(*model, requestFor(family), Share{noOwners, 0}, answers) {
    for (const KSBlock& block : model->blocks) {
      byId.emplace(block.id, &block);
      if (block.parent != nullptr) children[model->indexOf(*block.parent)].push_back(&block);
    }
  }

  const Model& get() const { return *model; }
  Family getFamily() const { return family; }
  const std::shared_ptr<Table>& getTable() const { return table; }
  const std::vector<const KSBlock*>& childrenOf(const KSBlock& aBlock) const {
    return children[model->indexOf(aBlock)];
  }
  const KSBlock* find(const std::string& aId) const {
    const auto found = byId.find(aId);
    return found == byId.end() ? nullptr : found->second;
  }

  enum class Condition { Local, Net, CompactNet };

  // A condition of a block, in the model's table.
  Expression condition(const KSBlock& aBlock, Condition aCondition) {
    const SymbolicExprId id = Lock::lengthy(lock, table->lock, [&] {
      const bool isLocal = aCondition == Condition::Local;
      if (answerOf(aBlock).local[family] == notAsked) answerer.answer(aBlock);
      const BlockConditions& answer = answerOf(aBlock);
      const ConditionId canonical = isLocal ? answer.local[family] : answer.net[family];
      if (canonical == notAvailable) throw AnswerError(problemOf(aBlock));
      if (aCondition != Condition::CompactNet) {
        return KS::SymbolicExprCopy(answerer.getTable(), table->nodes)(canonical);
      }
      const ConditionId compact = answerer.compactNet(aBlock, family);
      return KS::SymbolicExprCopy(answerer.getReadableTable(), table->nodes)(compact);
    });
    return {table, id};
  }

 private:
  static AnswererRequest requestFor(Family aFamily) {
    AnswererRequest request;
    request.families = {};
    request.families[aFamily] = true;
    return request;
  }

  const BlockConditions& answerOf(const KSBlock& aBlock) const {
    return answers[model->indexOf(aBlock)];
  }

  // Which condition on the path has no answer, and why.
  std::string problemOf(const KSBlock& aBlock) const {
    const KSBlock* block = &aBlock;
    while (answerOf(*block).local[family] != notAvailable) block = block->parent;
    // The answerer remembers why for some blocks; for a text that does not parse it is not needed.
    const std::string& failure = answerer.failure(*block, family);
    return withoutNewlines(conditionProblem(
        *model, *block, family, failure.empty() ? "the condition has no answer" : failure));
  }

  const std::unique_ptr<const Model> model;
  const Family family;
  const std::shared_ptr<Table> table;
  std::vector<std::vector<const KSBlock*>> children;
  std::unordered_map<std::string_view, const KSBlock*> byId;
  Lock lock;  // below which blocks are answered
  std::vector<BlockConditions> answers;
  const std::vector<std::uint16_t> noOwners;
  Answerer answerer;
};

using ModelPointer = std::shared_ptr<LoadedModel>;

// A block, which keeps its model alive.
struct Block {
  ModelPointer model;
  const KSBlock* block;

  Expression condition(LoadedModel::Condition aCondition) const {
    return model->condition(*block, aCondition);
  }
};

ModelPointer load(const std::string& aName, std::string aText, Family aFamily,
                  const std::shared_ptr<Table>& aTable) {
  std::ostringstream errors;
  std::ostringstream warnings;
  ModelPointer model;
  {
    const WithoutInterpreter leave;
    auto read = modelOfText(aName, std::move(aText), errors, warnings);
    if (read) model = std::make_shared<LoadedModel>(std::move(read), aFamily, aTable);
  }
  warn(warnings.str());
  if (model) return model;
  throw AnswerError(withoutNewlines(errors.str()));
}

// What an argument calls a block: its id, or a block itself.
std::string idOf(py::handle aBlock) {
  if (py::isinstance<Block>(aBlock)) return std::string(aBlock.cast<const Block&>().block->id);
  return utf8(aBlock, "a block");
}

const KSBlock& blockNamed(const LoadedModel& aModel, py::handle aBlock) {
  const std::string id = idOf(aBlock);
  const KSBlock* block = aModel.find(id);
  if (block == nullptr) throw py::key_error(noBlockMessage(aModel.get(), id));
  return *block;
}

py::list blocksOf(const ModelPointer& aModel) {
  py::list blocks;
  for (const KSBlock& block : aModel->get().blocks) blocks.append(Block{aModel, &block});
  return blocks;
}

#ifdef KSEXPR_DECIDES

py::object idOrNone(const KSBlock* aBlock) {
  return aBlock == nullptr ? py::object(py::none()) : py::object(py::str(std::string(aBlock->id)));
}

// Named tuples of the package.
py::object answerClass(const char* aName) {
  return py::module_::import("ksexpr.answers").attr(aName);
}

py::dict pythonOf(const NamedValues& aValues) {
  py::dict values;
  for (const auto& [name, value] : aValues) values[py::str(name)] = python::pythonOf(value);
  return values;
}

py::object pythonOf(const std::optional<std::string>& aText) {
  if (!aText) return py::none();
  return py::str(aText->empty() ? "true" : *aText);
}

// What is asked of a model beside the question itself.
class Asked {
 public:
  Asked(const ModelPointer& aModel, py::handle aValues, const py::iterable& aAssumptions,
        const py::kwargs& aKeywords)
      : model(aModel) {
    request.family = model->getFamily();
    request.assumptionsName = "assume";
    request.values.read = [](const std::string&) { return std::string(); };
    forEachItem(aValues, aKeywords, [&](py::handle key, py::handle value) {
      const std::string name = py::isinstance<Expression>(key)
                                   ? py::cast<std::string>(py::str(key))
                                   : utf8(key, "the name of a variable");
      request.values.named.emplace_back(name, variableValueOf(value));
    });
    if (PyUnicode_Check(aAssumptions.ptr()) || py::isinstance<Expression>(aAssumptions)) {
      throw py::type_error("assume has to be a list of conditions");
    }
    for (const py::handle condition : aAssumptions) {
      request.assumptions.push_back(py::isinstance<Expression>(condition)
                                        ? py::cast<std::string>(condition.attr("to_m")())
                                        : utf8(condition, "what is assumed"));
    }
  }

  // Asks without the interpreter: `aAnswer` takes the question. Warns of what there is to tell.
  template <class Answer>
  auto ask(const Answer& aAnswer, const ModelPointer& aOlder = nullptr) {
    std::string told;
    const auto tell = [&told](const std::string& message) {
      constexpr std::string_view mark = "warning: ";
      const bool isMarked = message.compare(0, mark.size(), mark) == 0;
      told += isMarked ? message.substr(mark.size()) : message;
    };
    const auto answer = [&] {
      const WithoutInterpreter leave;
      if (aOlder) older.emplace(aOlder->get(), request.family, table, tell);
      question.emplace(model->get(), request, table, tell, older ? &*older : nullptr);
      return aAnswer(*question, tell);
    };
    auto found = answer();
    warn(told);
    return found;
  }

  const Question& getQuestion() const { return *question; }
  const TypedModel& getOlder() const { return *older; }

  py::tuple texts(const std::vector<SymbolicExprId>& aIds) const {
    py::tuple result(aIds.size());
    for (std::size_t i = 0; i < aIds.size(); ++i) {
      result[i] = py::str(printable(question->text(aIds[i])));
    }
    return result;
  }
  py::tuple conditions(const std::vector<BlockCondition>& aConditions) const {
    const py::object type = answerClass("BlockCondition");
    py::tuple result(aConditions.size());
    for (std::size_t i = 0; i < aConditions.size(); ++i) {
      result[i] =
          type(std::string(aConditions[i].block->id), question->text(aConditions[i].condition));
    }
    return result;
  }

 private:
  const ModelPointer model;
  QuestionRequest request;
  // An answer depends on nothing that was asked before.
  KS::SymbolicExprTable table;
  std::optional<TypedModel> older;
  std::optional<Question> question;
};

py::list active(const ModelPointer& aModel, py::handle aValues, const py::iterable& aAssumptions,
                bool aWithResiduals, const py::kwargs& aKeywords) {
  Asked asked(aModel, aValues, aAssumptions, aKeywords);
  const ActiveAnswer answer = asked.ask([&](const Question& question, const auto& tell) {
    return answerActive(question, aWithResiduals, tell);
  });
  const py::object type = answerClass("Active");
  py::list result;
  for (const KSBlock& block : aModel->get().blocks) {
    const std::size_t index = aModel->get().indexOf(block);
    const State state = answer.states[index];
    py::object name = py::none();
    if (state != State::Unknown) name = py::str(stateNames[static_cast<std::size_t>(state)]);
    result.append(
        type(std::string(block.id), idOrNone(block.parent), name,
             answer.residuals ? pythonOf((*answer.residuals)[index]) : py::object(py::none())));
  }
  return result;
}

py::object why(const ModelPointer& aModel, py::handle aBlock, py::handle aValues,
               const py::iterable& aAssumptions, const py::kwargs& aKeywords) {
  const KSBlock& block = blockNamed(*aModel, aBlock);
  Asked asked(aModel, aValues, aAssumptions, aKeywords);
  const WhyAnswer answer =
      asked.ask([&](const Question& question, const auto&) { return answerWhy(question, block); });
  const Question& question = asked.getQuestion();
  const py::object stepType = answerClass("Step");
  py::tuple path(answer.path.size());
  for (std::size_t i = 0; i < answer.path.size(); ++i) {
    const WhyStep& step = answer.path[i];
    const std::string condition = question.text(question.getTyped().local(*step.block));
    py::object value = py::none();
    if (step.holds != Holds::Open) value = py::bool_(step.holds == Holds::Yes);
    path[i] = stepType(std::string(step.block->id), pythonOf(std::optional(condition)), value,
                       asked.texts(step.fails));
  }
  py::object change = py::none();
  py::dict chosen;
  if (answer.change) {
    change = pythonOf(question.named(answer.change->changed, {}));
    chosen = pythonOf(question.named(answer.change->chosen, {}));
  }
  return answerClass("Why")(std::string(answer.block->id), answer.state, path, change,
                            answer.change && answer.change->isFewest, chosen,
                            asked.conditions(answer.contradiction), answer.isContradictionProven,
                            answer.brokenRules);
}

py::list check(const ModelPointer& aModel, py::handle aValues, const py::object& aVariants,
               const py::iterable& aAssumptions, const py::kwargs& aKeywords) {
  Asked asked(aModel, aValues, aAssumptions, aKeywords);
  CheckRequest request;
  if (PyUnicode_Check(aVariants.ptr())) {
    request.variants.push_back(idOf(aVariants));
  } else {
    for (const py::handle block : aVariants) request.variants.push_back(idOf(block));
  }
  const std::vector<CheckEntry> entries = asked.ask(
      [&](const Question& question, const auto&) { return answerCheck(question, request); });
  const py::object type = answerClass("Finding");
  py::list result;
  for (const CheckEntry& entry : entries) {
    py::tuple children(entry.children.size());
    for (std::size_t i = 0; i < entry.children.size(); ++i) {
      children[i] = py::str(std::string(entry.children[i]->id));
    }
    result.append(type(std::string(entry.block->id),
                       findingNames[static_cast<std::size_t>(entry.finding)], entry.isInherited,
                       asked.conditions(entry.because), asked.texts(entry.terms), children,
                       pythonOf(entry.witness)));
  }
  return result;
}

py::list diff(const ModelPointer& aOld, const ModelPointer& aNew, py::handle aValues,
              const py::iterable& aAssumptions, const py::kwargs& aKeywords) {
  if (aOld->getFamily() != aNew->getFamily()) {
    throw std::invalid_argument("the models are loaded for different families");
  }
  Asked asked(aNew, aValues, aAssumptions, aKeywords);
  const std::vector<DiffEntry> entries = asked.ask(
      [&](const Question& question, const auto&) { return answerDiff(asked.getOlder(), question); },
      aOld);
  const py::object type = answerClass("Difference");
  py::list result;
  for (const DiffEntry& entry : entries) {
    const bool isMoved = entry.kind == ksexpr::Difference::Moved;
    result.append(
        type(std::string(entry.block->id), differenceNames[static_cast<std::size_t>(entry.kind)],
             entry.isOwn, idOrNone(entry.cause), pythonOf(entry.oldText), pythonOf(entry.newText),
             entry.isNewlyNever, entry.witness ? py::object(pythonOf(*entry.witness)) : py::none(),
             isMoved ? idOrNone(entry.before->parent) : py::none(),
             isMoved ? idOrNone(entry.block->parent) : py::none()));
  }
  return result;
}

py::object cover(const ModelPointer& aModel, py::handle aValues, const py::iterable& aAssumptions,
                 const py::kwargs& aKeywords) {
  Asked asked(aModel, aValues, aAssumptions, aKeywords);
  const CoverAnswer answer =
      asked.ask([](const Question& question, const auto&) { return answerCover(question); });
  py::list configurations;
  for (const auto& configuration : answer.configurations) {
    configurations.append(pythonOf(configuration.values));
  }
  const auto idsOf = [](const std::vector<const KSBlock*>& blocks) {
    py::list ids;
    for (const KSBlock* block : blocks) ids.append(std::string(block->id));
    return ids;
  };
  return answerClass("Cover")(configurations, answer.lowerBound, idsOf(answer.never),
                              idsOf(answer.always), idsOf(answer.unknown));
}

void report(const ModelPointer& aModel, const py::object& aPath) {
  const auto path =
      py::cast<std::string>(py::bytes(py::module_::import("os").attr("fsencode")(aPath)));
  Asked asked(aModel, py::none(), py::list(), py::kwargs());
  asked.ask([&](const Question& question, const auto&) {
    writePage(path, pageOf(question));
    return true;
  });
}

#else

template <class... Arguments>
py::object cannotDecide(const ModelPointer&, Arguments...) {
  PyErr_SetString(PyExc_NotImplementedError, "this ksexpr was built without CaDiCaL");
  throw py::error_already_set();
}
const auto active = &cannotDecide<py::handle, const py::iterable&, bool, const py::kwargs&>;
const auto why = &cannotDecide<py::handle, py::handle, const py::iterable&, const py::kwargs&>;
const auto check =
    &cannotDecide<py::handle, const py::object&, const py::iterable&, const py::kwargs&>;
const auto diff =
    &cannotDecide<const ModelPointer&, py::handle, const py::iterable&, const py::kwargs&>;
const auto cover = &cannotDecide<py::handle, const py::iterable&, const py::kwargs&>;
const auto report = &cannotDecide<const py::object&>;

#endif

void defineBlocks(py::module_& aModule) {
  using Condition = LoadedModel::Condition;
  defineClass<Block>(aModule, "Block", "A block of a model, which it keeps alive.")
      .def_property_readonly(
          "id", [](const Block& aBlock) { return std::string(aBlock.block->id); }, "Its name.")
      .def_property_readonly(
          "model", [](const Block& aBlock) { return aBlock.model; }, "The model that it is of.")
      .def_property_readonly(
          "parent",
          [](const Block& aBlock) -> std::optional<Block> {
            if (aBlock.block->parent == nullptr) return std::nullopt;
            return Block{aBlock.model, aBlock.block->parent};
          },
          "The block that encloses it, or None.")
      .def_property_readonly(
          "children",
          [](const Block& aBlock) {
            py::list children;
            for (const KSBlock* child : aBlock.model->childrenOf(*aBlock.block)) {
              children.append(Block{aBlock.model, child});
            }
            return py::tuple(children);
          },
          "The blocks directly inside, in the order of the model.")
      .def_property_readonly(
          "text",
          [](const Block& aBlock) {
            return std::string(aBlock.block->texts[aBlock.model->getFamily()]);
          },
          "Its own condition as the model spells it; empty where it has none.")
      .def_property_readonly(
          "local", [](const Block& aBlock) { return aBlock.condition(Condition::Local); },
          "Its own condition, in canonical form. Raises ModelError where there is no answer.")
      .def_property_readonly(
          "net", [](const Block& aBlock) { return aBlock.condition(Condition::Net); },
          "The condition under which it exists: its own and those of all that enclose it.")
      .def_property_readonly(
          "net_compact",
          [](const Block& aBlock) { return aBlock.condition(Condition::CompactNet); },
          "The same in a form that is short to read.")
      .def("__eq__",
           [](const Block& aBlock, py::handle aOther) -> py::object {
             if (!py::isinstance<Block>(aOther)) {
               return py::reinterpret_borrow<py::object>(Py_NotImplemented);
             }
             return py::bool_(aBlock.block == aOther.cast<const Block&>().block);
           })
      .def("__hash__",
           [](const Block& aBlock) { return std::hash<const KSBlock*>()(aBlock.block); })
      .def("__repr__", [](const Block& aBlock) {
        return "<ksexpr.Block " +
               py::cast<std::string>(py::repr(py::str(std::string(aBlock.block->id)))) + ">";
      });
}

}  // namespace

void defineModels(py::module_& aModule) {
  using namespace py::literals;
  auto model = defineClass<LoadedModel, ModelPointer>(
      aModule, "Model",
      "The blocks of a model and one family of their conditions. A model is not changed once it is "
      "there. Questions take values of variables as a mapping by name, as keywords, or both; what "
      "the model does not know is warned of.");
  defineBlocks(aModule);
  model
      .def_static(
          "load",
          [](const py::object& aPath, const py::str& aFamily, const py::object& aTable) {
            const Family family = familyOf(aFamily);
            const auto table = tableOf(aTable);
            const py::object path = py::module_::import("pathlib").attr("Path")(aPath);
            const auto name =
                py::cast<std::string>(py::bytes(py::module_::import("os").attr("fsencode")(path)));
            auto text = py::cast<std::string>(py::bytes(path.attr("read_bytes")()));
            constexpr std::string_view mark = "\xEF\xBB\xBF";
            if (text.compare(0, mark.size(), mark) == 0) text.erase(0, mark.size());
            return load(name, std::move(text), family, table);
          },
          "path"_a, py::kw_only(), "family"_a = "vv", "table"_a = py::none(),
          "Reads a model file. Raises OSError, or ModelError, which says what is wrong and where. "
          "The expressions of the model lie in the table.")
      .def_static(
          "from_dict",
          [](const py::object& aContent, const py::str& aFamily, const py::object& aTable) {
            const Family family = familyOf(aFamily);
            const auto table = tableOf(aTable);
            const py::object text = py::module_::import("json").attr("dumps")(
                aContent, "allow_nan"_a = false, "indent"_a = 1);
            return load("<dict>", utf8(text, "the model"), family, table);
          },
          "content"_a, py::kw_only(), "family"_a = "vv", "table"_a = py::none(),
          "The model that a dictionary describes, which is built like a model file. Raises "
          "ModelError.")
      .def(
          "__getitem__",
          [](const ModelPointer& aModel, const py::str& aId) {
            return Block{aModel, &blockNamed(*aModel, aId)};
          },
          "id"_a, "The block of that id.")
      .def("__contains__",
           [](const ModelPointer& aModel, py::handle aId) {
             if (!PyUnicode_Check(aId.ptr())) return false;
             const auto id = py::cast<std::string>(aId.attr("encode")("utf-8", "surrogatepass"));
             return aModel->find(id) != nullptr;
           })
      .def("__len__", [](const ModelPointer& aModel) { return aModel->get().blocks.size(); })
      .def("__iter__", [](const ModelPointer& aModel) { return py::iter(blocksOf(aModel)); })
      .def(
          "_ipython_key_completions_",
          [](const ModelPointer& aModel) {
            py::list ids;
            for (const KSBlock& block : aModel->get().blocks) ids.append(std::string(block.id));
            return ids;
          },
          "What a notebook offers between the brackets.")
      .def_property_readonly("blocks", &blocksOf, "The blocks in the order of the file.")
      .def_property_readonly(
          "path", [](const ModelPointer& aModel) { return aModel->get().path; },
          "What messages call the model.")
      .def_property_readonly(
          "table", [](const ModelPointer& aModel) { return aModel->getTable(); },
          "The table of its expressions.")
      .def("__repr__",
           [](const ModelPointer& aModel) {
             return "<ksexpr.Model of " + std::to_string(aModel->get().blocks.size()) + " blocks>";
           })
      .def("active", active, "values"_a = py::none(), py::pos_only(), py::kw_only(),
           "assume"_a = py::tuple(), "residual"_a = false,
           "Which blocks are active under the values: a list of `Active`, in the order of the "
           "file.")
      .def("why", why, "block"_a, "values"_a = py::none(), py::pos_only(), py::kw_only(),
           "assume"_a = py::tuple(),
           "Why a block is on or off under the values, and what would turn it on: a `Why`.")
      .def("check", check, "values"_a = py::none(), py::pos_only(), py::kw_only(),
           "variants"_a = py::tuple(), "assume"_a = py::tuple(),
           "Blocks that are never or always on and conditions without effect; of blocks whose "
           "children are variants (\"all\" for all), overlaps and gaps: a list of `Finding`.")
      .def("diff", diff, "other"_a.none(false), "values"_a = py::none(), py::pos_only(),
           py::kw_only(), "assume"_a = py::tuple(),
           "What changed from this model to the other one: a list of `Difference`.")
      .def("cover", cover, "values"_a = py::none(), py::pos_only(), py::kw_only(),
           "assume"_a = py::tuple(), "Configurations that have every block on and off: a `Cover`.")
      .def("report", report, "path"_a,
           "Writes a page about the model that a browser shows on its own. Raises ModelError where "
           "it "
           "cannot be written.");
}

}  // namespace ksexpr::python
