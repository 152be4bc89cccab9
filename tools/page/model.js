// The model of the page: blocks, variables with the values that are set, and the states that follow.

// The states of blocks by their letters in texts.
const states = { a: "active", i: "inactive", o: "open", "?": "unavailable" };
const verdicts = { n: "never", a: "always", v: "varies", u: "unknown" };

// What stands for the number of a condition, or of a net condition.
const noCondition = -1;
const badCondition = -2;

// A value as it is typed, or null where it is none.
function parseValue(text, constants) {
  if (text === "true" || text === "y") return true;
  if (text === "false" || text === "n") return false;
  if (constants.includes(text)) return text;
  if (/^[-+]?0[xX][0-9a-fA-F]+$/.test(text)) {
    const digits = Number(text.replace(/^[-+]/, ""));
    return text[0] === "-" ? -digits : digits;
  }
  return /^[-+]?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?$/.test(text) ? Number(text) : null;
}

// A bound of a domain: JSON has no infinities.
function boundOf(value) {
  if (typeof value === "number") return value;
  return value === "-inf" ? -Infinity : Infinity;
}

// What a variable may be, in words.
function domainText(variable) {
  if (variable.kind === "boolean") return "true or false";
  if (variable.domain) return variable.domain.join(", ");
  if (variable.min === undefined) return "any number";
  const [min, max] = [boundOf(variable.min), boundOf(variable.max)];
  const kind = variable.kind === "integer" ? "whole numbers" : "numbers";
  if (min === -Infinity && max === Infinity) return kind;
  if (min === -Infinity) return `${kind} up to ${max}`;
  if (max === Infinity) return `${kind} from ${min}`;
  return `${variable.kind === "integer" ? "whole, " : ""}${min} to ${max}`;
}

function isAllowed(variable, value) {
  if (typeof value === "string") {
    return variable.domain?.includes(value) ?? variable.min === undefined;
  }
  const number = Number(value);
  if (variable.min !== undefined) {
    if (variable.kind === "integer" && !Number.isInteger(number)) return false;
    return boundOf(variable.min) <= number && number <= boundOf(variable.max);
  }
  const isEqual = (each) => typeof each !== "string" && Number(each) === number;
  return !variable.domain || variable.domain.some(isEqual);
}

class Model {
  constructor(data) {
    this.data = data;
    this.variables = data.variables;
    this.ids = data.blocks.id;
    this.parents = data.blocks.parent;
    this.conditions = data.blocks.condition;
    this.size = this.ids.length;
    this.machine = new Machine(this.variables.length);
    this.cells = data.conditions.map(([, program]) => this.machine.read(program));
    this.texts = data.conditions.map(([text]) => text);
    this.operandTexts = new Map(
      Object.entries(data.operands).map(([result, text]) => [this.machine.results[result], text]));
    this.values = new Map(); // as texts, by the variable's index
    this.variablesByName = new Map(this.variables.map(({ name }, index) => [name, index]));
    this.orderBlocks();
    this.update();
  }

  // Sorts the blocks from the top down, each one followed by what it encloses.
  orderBlocks() {
    this.children = this.ids.map(() => []);
    this.roots = [];
    this.parents.forEach((parent, block) => {
      (parent < 0 ? this.roots : this.children[parent]).push(block);
    });
    this.depths = new Array(this.size).fill(0);
    this.order = [];
    this.below = new Array(this.size).fill(0); // how many blocks each one encloses
    const open = [...this.roots].reverse();
    while (open.length > 0) {
      const block = open.pop();
      this.order.push(block);
      if (this.parents[block] >= 0) this.depths[block] = this.depths[this.parents[block]] + 1;
      const inside = this.children[block];
      for (let i = inside.length; i-- > 0; ) open.push(inside[i]);
    }
    for (let i = this.order.length; i-- > 0; ) {
      const block = this.order[i];
      if (this.parents[block] >= 0) this.below[this.parents[block]] += this.below[block] + 1;
    }
  }

  // The blocks from the outermost one down to this one.
  path(block) {
    const blocks = [];
    for (; block >= 0; block = this.parents[block]) blocks.push(block);
    return blocks.reverse();
  }

  // What the block's own condition comes to: "yes", "no", "open", or "none" for no truth value.
  ownTruth(block) {
    const condition = this.conditions[block];
    if (condition === noCondition) return "yes";
    return condition === badCondition ? "none" : this.machine.truth(this.cells[condition]);
  }

  // Works out the states, from what the values say of each path, and from what is proven never or
  // always to hold.
  update() {
    this.machine.run();
    const found = new Array(this.size);
    for (const block of this.order) {
      const above = this.parents[block] < 0 ? "a" : found[this.parents[block]];
      const own = this.ownTruth(block);
      if (above === "?" || above === "i" || own === "yes") found[block] = above;
      else found[block] = { no: "i", open: "o", none: "?" }[own];
    }
    const verdictOf = this.data.blocks.verdict;
    for (let block = 0; block < this.size; ++block) {
      if (found[block] === "?") continue;
      if (verdictOf[block] === "n") found[block] = "i";
      if (verdictOf[block] === "a") found[block] = "a";
    }
    this.states = found;
  }

  state(block) {
    return states[this.states[block]];
  }

  verdict(block) {
    return verdicts[this.data.blocks.verdict[block]];
  }

  ownText(block) {
    const condition = this.conditions[block];
    if (condition === noCondition) return "";
    return condition === badCondition ? this.data.unparsed[block] : this.texts[condition];
  }

  // The net condition, and whether it is the compact one or that of the path as typed.
  net(block) {
    const number = this.data.blocks.net[block];
    if (number >= 0) return { text: this.data.nets[number], isCompact: true };
    const conditions = this.path(block)
      .map((each) => this.conditions[each])
      .filter((condition) => condition >= 0);
    const isAlone = conditions.length === 1;
    const texts = conditions.map((condition) => {
      const isDisjunction = this.machine.stepAt.get(this.cells[condition])?.word === "||";
      return isDisjunction && !isAlone ? `(${this.texts[condition]})` : this.texts[condition];
    });
    return { text: texts.join(" && ") || "true", isCompact: false };
  }

  // The parts of a block's condition that come to a truth value, as texts.
  parts(block, truth) {
    const condition = this.conditions[block];
    if (condition < 0) return [];
    const cells = this.machine.operandsOf(this.cells[condition]);
    const found = cells.filter((cell) => this.machine.truth(cell) === truth);
    return [...new Set(found.map((cell) => this.textOf(cell, condition)))];
  }

  textOf(cell, condition) {
    if (cell < this.variables.length) return this.variables[cell].name;
    return this.operandTexts.get(cell) ?? this.texts[condition];
  }

  // The indices of the variables in the conditions along the path.
  variablesOf(block) {
    const found = new Set();
    for (const each of this.path(block)) this.forEachVariable(each, (index) => found.add(index));
    return found;
  }

  // Calls `use` with the indices of the variables in a block's own condition.
  forEachVariable(block, use) {
    if (this.conditions[block] < 0) return;
    this.machine.forEachVariable(this.cells[this.conditions[block]], this.variables.length, use);
  }

  // The variables without a value that the open conditions along the path depend on, as names.
  openVariablesOf(block) {
    const found = new Set();
    for (const each of this.path(block).filter((step) => this.ownTruth(step) === "open")) {
      this.forEachVariable(each, (index) => this.values.has(index) || found.add(index));
    }
    return [...found].map((index) => this.variables[index].name);
  }

  // The index of a variable; blanks in a name don't matter.
  findVariable(name) {
    return this.variablesByName.get(name) ?? this.variablesByName.get(name.replace(/\s+/g, ""));
  }

  // Sets a variable to a value as it is typed, an empty one for none. Returns what is wrong with it,
  // and sets nothing then.
  set(index, text) {
    const variable = this.variables[index];
    const typed = text.trim();
    const value = typed === "" ? null : parseValue(typed, this.data.constants);
    if (typed !== "" && value === null) return `${variable.name}: “${typed}” is no value`;
    if (value !== null && !isAllowed(variable, value)) {
      return `${variable.name} is ${domainText(variable)}, not ${typed}`;
    }
    if (value === null) {
      this.values.delete(index);
      this.machine.setVariable(index, Kind.Open, 0);
    } else {
      this.values.set(index, this.bind(index, value));
    }
    return "";
  }

  // Gives the machine a value; returns it as text. Whole numbers are ints where they fit. Constants
  // are told apart by numbers of their own.
  bind(index, value) {
    if (typeof value === "string") {
      const number = 2 ** 47 + this.data.constants.indexOf(value);
      this.machine.setVariable(index, Kind.Double, number);
      return value;
    }
    const isTruth = this.variables[index].kind === "boolean";
    const number = isTruth ? Number(Number(value) !== 0) : Number(value);
    const isInt = Number.isInteger(number) && Math.abs(number) < 2 ** 31;
    this.machine.setVariable(index, isInt ? Kind.Int : Kind.Double, number);
    return String(isTruth ? number !== 0 : number);
  }

  clear() {
    for (const index of this.values.keys()) this.machine.setVariable(index, Kind.Open, 0);
    this.values.clear();
  }

  // The constraints that the values break, as texts.
  brokenConstraints() {
    return this.data.constraints
      .filter((condition) => this.machine.truth(this.cells[condition]) === "no")
      .map((condition) => this.texts[condition]);
  }
}
