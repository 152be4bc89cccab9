// The machine that works out the conditions: values as evaluation has them, and three truth values.
//
// A cell holds what a node came to: a kind, and a number where the kind is Int or Double. Truth
// values are the ints 1 and 0. The rules are those of the library's evaluation, to the letter.

const Kind = { Int: 0, Double: 1, Open: 2, List: 3, Error: 4 };

const epsilon = 2 ** -26;
const leastInt = -2147483648;
const largestInt = 2147483647;

// A number as an int: truncated toward zero; what is out of range is the least int.
function toInt(number) {
  return number > -2147483649 && number < 2147483648 ? number | 0 : leastInt;
}

function nearlyEqual(left, right) {
  if (left === right || (Number.isNaN(left) && Number.isNaN(right))) return true;
  return Math.abs(left - right) < epsilon;
}

function divideInts(left, right) {
  if (right === 0) return left < 0 ? leastInt : largestInt;
  if (right === -1) return (0 - left) | 0;
  return (left / right) | 0;
}

function divideDoubles(left, right) {
  if (Math.abs(right) >= epsilon || Number.isNaN(right)) return left / right;
  return left < 0 ? -Infinity : Infinity;
}

// To the nearest whole number, halves away from zero.
function rounded(number) {
  const whole = Math.trunc(number);
  return Math.abs(number - whole) >= 0.5 ? whole + Math.sign(number) : whole;
}

function remainderOfDoubles(left, right) {
  if (Math.abs(right) < epsilon) return NaN;
  const rest = left % right;
  if (Math.floor(right) === right || !Number.isFinite(left) || !Number.isFinite(right)) return rest;
  // A multiple of a fraction that is not exact in binary has no remainder.
  const quotient = left / right;
  const whole = rounded(quotient);
  const isMultiple =
    quotient === whole || Math.abs(quotient - whole) <= Math.abs(quotient) * 2 ** -52;
  return isMultiple ? 0 : rest;
}

function shifted(value, left) {
  if (left > 31) return 0;
  if (left < -31) return value < 0 ? -1 : 0;
  return left >= 0 ? value << left : value >> -left;
}

// Operators by what they do with two numbers. `ints` and `doubles` are called where both operands
// are ints and where one is a double, `bits` with both as ints.
const binaryOperators = {
  "+": { ints: (a, b) => (a + b) | 0, doubles: (a, b) => a + b },
  "-": { ints: (a, b) => (a - b) | 0, doubles: (a, b) => a - b },
  "*": { ints: (a, b) => Math.imul(a, b), doubles: (a, b) => a * b },
  "/": { ints: divideInts, doubles: divideDoubles },
  "%": { ints: (a, b) => (b === -1 ? 0 : (a % b) | 0), doubles: remainderOfDoubles },
  "==": { truth: (a, b, exact) => (exact ? a === b : nearlyEqual(a, b)) },
  "!=": { truth: (a, b, exact) => !(exact ? a === b : nearlyEqual(a, b)) },
  "<": { truth: (a, b) => a < b },
  ">": { truth: (a, b) => a > b },
  "<=": { truth: (a, b, exact) => a < b || (exact ? a === b : nearlyEqual(a, b)) },
  ">=": { truth: (a, b, exact) => a > b || (exact ? a === b : nearlyEqual(a, b)) },
  "&&": { truth: (a, b) => a !== 0 && b !== 0 },
  "||": { truth: (a, b) => a !== 0 || b !== 0 },
  "&": { bits: (a, b) => a & b },
  "|": { bits: (a, b) => a | b },
  "^": { bits: (a, b) => a ^ b },
  "<<": { bits: (a, b) => shifted(a, b) },
  ">>": { bits: (a, b) => shifted(a, -b) },
};
const unaryOperators = {
  neg: (kind, a) => (kind === Kind.Double ? [kind, -a] : [Kind.Int, (0 - a) | 0]),
  "!": (kind, a) => [Kind.Int, a === 0 ? 1 : 0],
  "~": (kind, a) => [Kind.Int, kind === Kind.Double ? (a === 0 ? 1 : 0) : ~a],
};
const isConnective = (word) => word === "&&" || word === "||" || word === "!";

function applyBinary(word, leftKind, left, rightKind, right) {
  const operator = binaryOperators[word];
  const areInts = leftKind === Kind.Int && rightKind === Kind.Int;
  if (operator.bits) return [Kind.Int, operator.bits(toInt(left), toInt(right))];
  if (operator.truth) return [Kind.Int, operator.truth(left, right, areInts) ? 1 : 0];
  if (!areInts) return [Kind.Double, operator.doubles(left, right)];
  if (word === "%" && right === 0) return [Kind.Double, NaN];
  return [Kind.Int, operator.ints(left, right)];
}

// Programs in postfix notation, read into steps that are computed one after the other.
class Machine {
  // The first cells are those of the variables.
  constructor(numVariables) {
    this.kinds = new Array(numVariables).fill(Kind.Open);
    this.numbers = new Array(numVariables).fill(0);
    this.lengths = []; // of lists, by cell
    this.steps = []; // {word, cell, operands}
    this.stepAt = new Map(); // by cell
    this.literals = new Map(); // cells by their word
    this.results = []; // cells by the number of their operator
  }

  newCell(kind, number) {
    this.kinds.push(kind);
    this.numbers.push(number);
    return this.kinds.length - 1;
  }

  // Reads a program; returns the cell of its result.
  read(program) {
    const stack = [];
    for (const word of program.split(" ")) stack.push(this.readWord(word, stack));
    return stack.pop();
  }

  readWord(word, stack) {
    const argument = word.slice(1);
    if (unaryOperators[word]) return this.addStep(word, [stack.pop()]);
    if (binaryOperators[word]) return this.addStep(word, stack.splice(-2));
    switch (word[0]) {
      case "v":
        return Number(argument);
      case "r":
        return this.results[Number(argument)];
      case "[": {
        const count = Number(argument);
        return this.addStep("[", count > 0 ? stack.splice(-count) : []);
      }
      default:
        return this.literal(word);
    }
  }

  literal(word) {
    if (!this.literals.has(word)) {
      const number = Number(word.slice(1).replace("inf", "Infinity"));
      const kind = word[0] === "i" ? Kind.Int : Kind.Double;
      this.literals.set(word, this.newCell(kind, number));
    }
    return this.literals.get(word);
  }

  addStep(word, operands) {
    const step = { word, cell: this.newCell(Kind.Open, 0), operands };
    this.steps.push(step);
    this.stepAt.set(step.cell, step);
    this.results.push(step.cell);
    return step.cell;
  }

  setVariable(index, kind, number) {
    this.kinds[index] = kind;
    this.numbers[index] = number;
  }

  // Computes all steps.
  run() {
    for (const step of this.steps) {
      const [kind, number] = step.word === "[" ? this.list(step) : this.compute(step);
      this.kinds[step.cell] = kind;
      this.numbers[step.cell] = number;
    }
  }

  compute(step) {
    const { word, operands } = step;
    const left = operands[0];
    const right = operands[operands.length - 1];
    const leftKind = this.kinds[left];
    const rightKind = this.kinds[right];
    if (leftKind <= Kind.Double && rightKind <= Kind.Double) {
      if (operands.length === 1) return unaryOperators[word](rightKind, this.numbers[right]);
      return applyBinary(word, leftKind, this.numbers[left], rightKind, this.numbers[right]);
    }
    if (leftKind === Kind.Error || rightKind === Kind.Error) return [Kind.Error, 0];
    if (isConnective(word)) return this.connective(word, left, right);
    if (leftKind === Kind.Open || rightKind === Kind.Open) return [Kind.Open, 0];
    return this.listOf(step.cell, left, right);
  }

  // An operand alone may decide: false that a conjunction is false, true that a disjunction is true.
  connective(word, left, right) {
    const deciding = word === "||";
    let result = [Kind.Open, 0];
    for (const cell of [left, right]) {
      const kind = this.kinds[cell];
      if (kind === Kind.List) return [Kind.Error, 0]; // a list is neither true nor false
      if (kind === Kind.Open) continue;
      if ((this.numbers[cell] !== 0) === deciding) result = [Kind.Int, deciding ? 1 : 0];
    }
    return result;
  }

  // What an operator makes of a list is a list; what its elements are matters to nobody, since no
  // operator makes a number of them.
  listOf(cell, left, right) {
    const [a, b] = [left, right].map((at) => (this.kinds[at] === Kind.List ? at : null));
    if (a !== null && b !== null && this.lengths[a] !== this.lengths[b]) return [Kind.Error, 0];
    this.lengths[cell] = this.lengths[a ?? b];
    return [Kind.List, 0];
  }

  list(step) {
    const kinds = step.operands.map((cell) => this.kinds[cell]);
    if (kinds.includes(Kind.Error)) return [Kind.Error, 0];
    if (kinds.includes(Kind.Open)) return [Kind.Open, 0];
    if (kinds.includes(Kind.List)) return [Kind.Error, 0]; // a list inside a list
    this.lengths[step.cell] = kinds.length;
    return [Kind.List, 0];
  }

  // Whether the cell's value is true: "yes", "no", "open" where it has none yet, or "none" where it
  // is no truth value, such as a list.
  truth(cell) {
    if (this.kinds[cell] === Kind.Open) return "open";
    if (this.kinds[cell] > Kind.Double) return "none";
    return this.numbers[cell] !== 0 ? "yes" : "no";
  }

  // The cells that the outermost conjunction or disjunction connects, from left to right; the cell
  // itself where there is none.
  operandsOf(cell) {
    const word = this.stepAt.get(cell)?.word;
    if (word !== "&&" && word !== "||") return [cell];
    const found = [];
    const open = [cell];
    while (open.length > 0) {
      const next = open.pop();
      const step = this.stepAt.get(next);
      if (step?.word === word) open.push(...[...step.operands].reverse());
      else found.push(next);
    }
    return found;
  }

  // Calls `use` with every variable that the cell depends on, in order of appearance.
  forEachVariable(cell, numVariables, use) {
    const met = new Set();
    const open = [cell];
    while (open.length > 0) {
      const next = open.pop();
      if (met.has(next)) continue;
      met.add(next);
      if (next < numVariables) use(next);
      else open.push(...[...(this.stepAt.get(next)?.operands ?? [])].reverse());
    }
  }
}
