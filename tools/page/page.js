// What is on the page: the tree, the chosen block, the values, and the address that holds these.

const rowHeight = 28; // as in the style sheet
const rowsAround = 20; // rows beyond those in sight, so that not every scrolling makes new ones
const mostInRow = 240; // characters of a condition; the chosen block has all of them
const variablesAtOnce = 40;
const mostChoices = 8; // beyond, values are typed
const mostNamed = 8; // variables in a sentence
const unfoldedBlocks = 300; // the largest tree that is shown unfolded

const byId = (id) => document.getElementById(id);
const model = new Model(JSON.parse(byId("data").textContent));

// What is being looked at.
const view = {
  chosen: model.size > 0 ? model.order[0] : -1,
  search: "",
  states: new Set(), // letters; none for all
  verdicts: new Set(),
  folded: new Set(), // blocks whose inside is hidden
  foldedMatches: new Set(), // the same while something is looked for
  rows: [], // the blocks that no fold hides, from top to bottom
  top: 0, // the row that was topmost in sight when rows were made
  matches: null, // the blocks that are looked for, or null for all
  numVariables: variablesAtOnce,
  address: location.hash, // the part of it that was last read or written
  problems: [],
};

// Makes an element; children are elements and texts.
function make(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (key.startsWith("on")) element.addEventListener(key.slice(2), value);
    else if (value !== null && value !== false) element.setAttribute(key, value === true ? "" : value);
  }
  element.append(...children);
  return element;
}

const mark = (name) => make("span", { class: `mark ${name}`, "aria-hidden": "true" });
const code = (text) => make("code", {}, text);
const counted = (count, word) => `${count.toLocaleString("en")} ${word}${count === 1 ? "" : "s"}`;

// The text in pieces, with what is looked for marked.
function marked(text) {
  const at = view.search === "" ? -1 : text.toLowerCase().indexOf(view.search);
  if (at < 0) return [text];
  const end = at + view.search.length;
  return [text.slice(0, at), make("mark", {}, text.slice(at, end)), text.slice(end)];
}

// The beginning of a long text.
const shortened = (text) => (text.length > mostInRow ? `${text.slice(0, mostInRow)}…` : text);

// --- What is looked for ---------------------------------------------------------------------------

const lowerIds = model.ids.map((id) => id.toLowerCase());
const lowerTexts = model.texts.map((text) => text.toLowerCase());

function isMatch(block) {
  if (view.states.size > 0 && !view.states.has(model.states[block])) return false;
  if (view.verdicts.size > 0 && !view.verdicts.has(model.data.blocks.verdict[block])) return false;
  if (view.search === "" || lowerIds[block].includes(view.search)) return true;
  const condition = model.conditions[block];
  return condition >= 0 && lowerTexts[condition].includes(view.search);
}

const isFiltered = () => view.search !== "" || view.states.size > 0 || view.verdicts.size > 0;
const foldedNow = () => (view.matches === null ? view.folded : view.foldedMatches);

// Finds the rows of the tree: what matches, and what encloses it.
function findRows() {
  let isNeeded = null;
  view.matches = null;
  if (isFiltered()) {
    view.matches = new Set(model.order.filter(isMatch));
    isNeeded = new Set();
    for (const match of view.matches) {
      for (let block = match; block >= 0 && !isNeeded.has(block); block = model.parents[block]) {
        isNeeded.add(block);
      }
    }
  }
  const folded = foldedNow();
  view.rows = [];
  for (let i = 0; i < model.size; ++i) {
    const block = model.order[i];
    if (isNeeded !== null && !isNeeded.has(block)) {
      i += model.below[block];
      continue;
    }
    view.rows.push(block);
    if (folded.has(block)) i += model.below[block];
  }
  view.rowOf = new Map(view.rows.map((block, row) => [block, row]));
}

// --- The tree -------------------------------------------------------------------------------------

// Siblings by their place, for those who hear the tree.
const placeAmongSiblings = new Array(model.size);
for (const siblings of [model.roots, ...model.children]) {
  siblings.forEach((block, place) => (placeAmongSiblings[block] = [place + 1, siblings.length]));
}

function rowLabel(block) {
  const own = model.ownText(block);
  return `${model.ids[block]}, ${model.state(block)}${own === "" ? "" : `, ${own}`}`;
}

function makeRow(block) {
  const depth = model.depths[block];
  const isFolder = model.below[block] > 0;
  const isUnfolded = isFolder && !foldedNow().has(block);
  const [place, count] = placeAmongSiblings[block];
  const isAround = view.matches !== null && !view.matches.has(block);
  const verdict = model.verdict(block);
  const net = model.net(block);
  const row = make("div", {
    id: `block-${block}`,
    class: `row ${model.state(block)}${isAround ? " around" : ""}`,
    role: "treeitem",
    "aria-level": depth + 1,
    "aria-posinset": place,
    "aria-setsize": count,
    "aria-expanded": isFolder ? String(isUnfolded) : null,
    "aria-selected": String(block === view.chosen),
    "aria-label": rowLabel(block),
    style: `--depth: ${Math.min(depth, 24)}`,
  });
  const name = make("span", { class: "name" },
    make("span", { class: `twist${isFolder ? (isUnfolded ? " unfolded" : " folded") : ""}` }),
    mark(model.state(block)),
    make("span", { class: "id", title: model.ids[block] }, ...marked(model.ids[block])));
  if (isFolder && !isUnfolded) name.append(make("span", { class: "count" }, String(model.below[block])));
  if (verdict === "never" || verdict === "unknown") {
    name.append(make("span", { class: `tag ${verdict}` }, verdict));
  }
  const own = model.ownText(block);
  row.append(name,
    make("span", { class: "own", title: own }, ...marked(shortened(own))),
    make("span", { class: "net", title: net.text },
      ...(net.isCompact ? [] : [make("em", {}, "as typed ")]),
      net.text === "true" ? "" : shortened(net.text)));
  return row;
}

// Shows the rows that are in sight, and a few around them.
function showRows() {
  const tree = byId("tree");
  view.top = Math.floor(tree.scrollTop / rowHeight);
  const first = Math.max(0, view.top - rowsAround);
  const count = Math.ceil(tree.clientHeight / rowHeight) + 2 * rowsAround;
  const rows = view.rows.slice(first, first + count);
  byId("rows").replaceChildren(...rows.map(makeRow));
  byId("rows").style.transform = `translateY(${first * rowHeight}px)`;
  const isShown = view.rowOf.has(view.chosen);
  if (isShown) tree.setAttribute("aria-activedescendant", `block-${view.chosen}`);
  else tree.removeAttribute("aria-activedescendant");
}

function onScroll() {
  const top = Math.floor(byId("tree").scrollTop / rowHeight);
  if (Math.abs(top - view.top) >= rowsAround) showRows();
}

function showTree() {
  findRows();
  byId("room").style.height = `${view.rows.length * rowHeight}px`;
  const text = view.matches === null ? "" : `${counted(view.matches.size, "block")} found`;
  byId("shown").textContent = text;
  byId("shown").hidden = text === "";
  showRows();
}

function scrollToChosen() {
  const tree = byId("tree");
  const row = view.rowOf.get(view.chosen);
  if (row === undefined) return;
  const top = row * rowHeight;
  if (top < tree.scrollTop) tree.scrollTop = top;
  const bottom = top + rowHeight - tree.clientHeight;
  if (bottom > tree.scrollTop) tree.scrollTop = bottom;
}

function choose(block) {
  view.chosen = block;
  const folded = foldedNow();
  let isHidden = !view.rowOf.has(block);
  for (let above = model.parents[block]; above >= 0; above = model.parents[above]) {
    isHidden = folded.delete(above) || isHidden;
  }
  if (isHidden) showTree();
  scrollToChosen();
  showRows();
  showDetail();
  if (byId("of-block").checked) showVariables();
  clearTimeout(view.timer);
  view.timer = setTimeout(writeAddress, 250); // browsers refuse many changes in a short time
}

function toggle(block) {
  if (model.below[block] === 0) return;
  const folded = foldedNow();
  if (!folded.delete(block)) folded.add(block);
  showTree();
}

// To the row that lies so many rows away, as far as there are any.
function chooseRow(row) {
  if (view.rows.length > 0) choose(view.rows[Math.max(0, Math.min(row, view.rows.length - 1))]);
}

function chooseParentOrFold(block) {
  const isUnfolded = model.below[block] > 0 && !foldedNow().has(block);
  if (isUnfolded) toggle(block);
  else if (model.parents[block] >= 0) choose(model.parents[block]);
}

function unfoldOrChooseChild(block) {
  if (model.below[block] === 0) return;
  if (foldedNow().has(block)) toggle(block);
  else chooseRow(view.rowOf.get(block) + 1);
}

function onTreeKey(event) {
  const row = view.rowOf.get(view.chosen) ?? -1;
  const page = Math.max(1, Math.floor(byId("tree").clientHeight / rowHeight) - 1);
  const actions = {
    ArrowDown: () => chooseRow(row + 1),
    ArrowUp: () => chooseRow(row - 1),
    PageDown: () => chooseRow(row + page),
    PageUp: () => chooseRow(row - page),
    Home: () => chooseRow(0),
    End: () => chooseRow(view.rows.length - 1),
    ArrowLeft: () => chooseParentOrFold(view.chosen),
    ArrowRight: () => unfoldOrChooseChild(view.chosen),
    Enter: () => toggle(view.chosen),
  };
  if (event.ctrlKey || event.metaKey || event.altKey || !actions[event.key] || view.chosen < 0) return;
  event.preventDefault();
  actions[event.key]();
}

function onTreeClick(event) {
  const row = event.target.closest(".row");
  if (!row) return;
  const block = Number(row.id.slice("block-".length));
  if (event.target.closest(".twist")) toggle(block);
  choose(block);
}

function foldAll(isFolded) {
  const folded = foldedNow();
  folded.clear();
  if (isFolded) {
    for (const block of model.order) if (model.below[block] > 0) folded.add(block);
  }
  showTree();
  scrollToChosen();
  showRows();
}

// --- The chosen block -----------------------------------------------------------------------------

const truthWords = { yes: "holds", no: "fails", open: "open", none: "no truth value" };

// The link to a block of the path.
function blockButton(block) {
  return make("button", { type: "button", class: "link", onclick: () => choose(block) }, model.ids[block]);
}

// Texts as codes, separated by commas.
function codes(texts) {
  return texts.flatMap((text, i) => (i === 0 ? [code(text)] : [", ", code(text)]));
}

function stepOf(block, isFirstFailing) {
  const truth = model.ownTruth(block);
  const own = model.ownText(block);
  const item = make("li", { class: `step ${truth}${isFirstFailing ? " first" : ""}` },
    mark(truth),
    make("div", { class: "step-head" },
      block === view.chosen ? make("strong", {}, model.ids[block]) : blockButton(block),
      make("span", { class: "truth" }, own === "" ? "no condition" : truthWords[truth])));
  if (own !== "") item.append(make("div", { class: "condition" }, code(own)));
  const parts = model.parts(block, truth);
  if (truth === "no" && (parts.length > 1 || parts[0] !== own)) {
    item.append(make("div", { class: "parts" }, parts.length === 1 ? "fails: " : "fail: ", ...codes(parts)));
  }
  if (truth === "open" && (parts.length > 1 || parts[0] !== own) && parts.length > 0) {
    item.append(make("div", { class: "parts" }, "open: ", ...codes(parts)));
  }
  return item;
}

// The outermost block of the path that can never be on.
function firstNever(path) {
  return path.find((block) => model.verdict(block) === "never");
}

// Why the chosen block is as it is, in a sentence.
function reason(path) {
  const block = view.chosen;
  const state = model.state(block);
  const verdict = model.verdict(block);
  const failing = path.find((each) => model.ownTruth(each) === "no");
  const open = path.filter((each) => model.ownTruth(each) === "open");
  if (verdict === "never") return neverReason(firstNever(path));
  if (state === "unavailable") return ["A condition on its path has no truth value."];
  if (state === "inactive" && failing === block) return ["Its own condition fails."];
  if (state === "inactive") return ["The condition of ", blockButton(failing), " fails, which encloses it."];
  if (verdict === "always" && open.length > 0) return ["It is on whatever the values are."];
  if (state === "active" && path.every((each) => model.ownText(each) === "")) {
    return ["There is no condition on its path."];
  }
  if (state === "active") return ["All conditions on its path hold."];
  return openReason(model.openVariablesOf(block));
}

function openReason(names) {
  const rest = names.length - mostNamed;
  const more = rest > 0 ? ` and ${counted(rest, "more variable")}` : "";
  return ["It depends on ", ...codes(names.slice(0, mostNamed)), `${more}.`];
}

function neverReason(block) {
  const because = model.data.because[block] ?? [];
  const parts = ["It can never be on, because "];
  if (because.length === 1) parts.push("the condition of ", blockButton(because[0]), " never holds");
  if (because.length > 1) {
    parts.push("these conditions exclude each other: ");
    because.forEach((each, i) => {
      parts.push(i === 0 ? "" : i + 1 < because.length ? ", " : " and ");
      parts.push(code(model.ownText(each)), " (", blockButton(each), ")");
    });
  }
  if (because.length === 0) parts.push("its net condition never holds");
  return [...parts, "."];
}

function showDetail() {
  const detail = byId("detail");
  const block = view.chosen;
  if (block < 0) return detail.replaceChildren();
  const path = model.path(block);
  const failing = path.find((each) => model.ownTruth(each) === "no");
  const net = model.net(block);
  const state = model.state(block);
  const verdict = model.verdict(block);
  detail.replaceChildren(
    make("div", { class: "panel-head" }, make("h2", {}, model.ids[block])),
    make("p", { class: `state-line ${state}` }, mark(state), make("strong", {}, state),
      ...(verdict === "varies" ? [] : [make("span", { class: `tag ${verdict}` }, verdict)])),
    make("p", { class: "reason" }, ...reason(path)),
    make("h3", {}, path.length > 1 ? "Path, from the top" : "Condition"),
    make("ol", { class: "path" }, ...path.map((each) => stepOf(each, each === failing))),
    make("h3", {}, `Net condition, ${net.isCompact ? "compact" : "as typed"}`),
    make("div", { class: "condition net-text" }, code(net.text)));
}

// --- Values ---------------------------------------------------------------------------------------

// The values to choose from: all that the variable may have, or what it is compared with.
function choicesOf(variable) {
  if (variable.kind === "boolean") return { choices: ["true", "false"], isComplete: true };
  const domain = variable.domain?.map(String);
  if (domain && domain.length <= mostChoices) return { choices: domain, isComplete: true };
  const compared = variable.constants.map(String).slice(0, mostChoices);
  return { choices: compared, isComplete: false };
}

function choiceButton(index, text, label = text) {
  const isSet = (model.values.get(index) ?? "") === text;
  return make("button", {
    type: "button",
    class: `choice${text === "" ? " none" : ""}`,
    "aria-pressed": String(isSet),
    "data-value": text,
    onclick: () => setValue(index, isSet ? "" : text),
  }, label);
}

function valueInput(index) {
  const variable = model.variables[index];
  return make("input", {
    class: "value",
    value: model.values.get(index) ?? "",
    placeholder: domainText(variable),
    "aria-label": `The value of ${variable.name}`,
    autocomplete: "off",
    spellcheck: "false",
    onchange: (event) => setValue(index, event.target.value),
  });
}

function variableItem(index) {
  const variable = model.variables[index];
  const { choices, isComplete } = choicesOf(variable);
  const isSet = model.values.has(index);
  const domain = domainText(variable);
  const notes = [
    ...(isComplete || domain === "any number" ? [] : [domain]),
    ...(variable.compared.length > 0 ? [`compared with ${variable.compared.join(", ")}`] : []),
    counted(variable.all, "block")];
  const meta = notes.join(", ");
  return make("div", {
    class: `variable${isSet ? " set" : ""}`,
    role: "group",
    "aria-label": variable.name,
    "data-index": index,
  },
    make("div", { class: "variable-head" },
      make("span", { class: "variable-name", title: variable.name }, variable.name),
      make("span", { class: "meta", title: meta }, meta)),
    make("div", { class: "choices" },
      choiceButton(index, "", "open"),
      ...(isComplete ? [] : [valueInput(index)]),
      ...choices.map((choice) => choiceButton(index, choice))));
}

// The variables to show: those that have a value first.
function variablesToShow() {
  const wanted = byId("variable-search").value.trim().toLowerCase();
  const ofBlock = byId("of-block").checked && view.chosen >= 0 ? model.variablesOf(view.chosen) : null;
  const isShown = (index) =>
    (ofBlock === null || ofBlock.has(index)) &&
    model.variables[index].name.toLowerCase().includes(wanted);
  const indices = model.variables.map((_, index) => index).filter(isShown);
  if (model.variables.length <= variablesAtOnce) return indices;
  return [...indices.filter((i) => model.values.has(i)), ...indices.filter((i) => !model.values.has(i))];
}

function showVariables() {
  const indices = variablesToShow();
  const items = indices.slice(0, view.numVariables).map(variableItem);
  const rest = indices.length - items.length;
  if (rest > 0) {
    items.push(make("button", { type: "button", class: "more", onclick: showMoreVariables },
      `${rest.toLocaleString("en")} more`));
  }
  if (indices.length === 0) items.push(make("p", { class: "nothing" }, "No variable"));
  byId("variables").replaceChildren(...items);
}

function showMoreVariables() {
  view.numVariables += variablesAtOnce;
  showVariables();
}

// Shows the variables anew with the focus where it was.
function showVariablesAgain() {
  const item = document.activeElement?.closest(".variable");
  const index = item?.dataset.index;
  const value = document.activeElement?.dataset.value;
  const top = byId("variables").scrollTop;
  showVariables();
  byId("variables").scrollTop = top;
  if (index === undefined) return;
  const again = [...byId("variables").children].find((each) => each.dataset.index === index);
  const target = value === undefined ? "input" : `[data-value="${CSS.escape(value)}"]`;
  again?.querySelector(target)?.focus();
}

// What is set, as chips that unset it, and what is wrong.
function showGiven() {
  const chips = [...model.values].map(([index, text]) =>
    make("button", {
      type: "button", class: "chip", title: "Leave it open",
      "aria-label": `${model.variables[index].name} = ${text}, leave it open`,
      onclick: () => setValue(index, ""),
    }, `${model.variables[index].name} = ${text}`, make("span", { "aria-hidden": "true" }, "×")));
  const problems = [
    ...view.problems,
    ...model.brokenConstraints().map((text) => `These values break the constraint ${text}`)];
  const texts = problems.map((text) => make("span", { class: "problem" }, text));
  byId("given").replaceChildren(...chips, ...texts);
  byId("given").hidden = chips.length + texts.length === 0;
  byId("clear").disabled = model.values.size === 0;
}

// --- The whole ------------------------------------------------------------------------------------

// A filter: buttons of which those that are pressed select.
function showFilter(id, names, selected, letterOf) {
  const counts = {};
  for (let block = 0; block < model.size; ++block) {
    counts[letterOf(block)] = (counts[letterOf(block)] ?? 0) + 1;
  }
  const letters = Object.keys(names).filter((letter) => counts[letter] || !"?u".includes(letter));
  const buttons = letters.map((letter) =>
    make("button", {
      type: "button", class: `filter ${names[letter]}`, "aria-pressed": String(selected.has(letter)),
      "data-letter": letter,
      onclick: () => {
        if (!selected.delete(letter)) selected.add(letter);
        view.foldedMatches.clear();
        showFilters();
        showTree();
        byId(id).querySelector(`[data-letter="${letter}"]`).focus();
      },
    }, mark(names[letter]), names[letter], make("b", {}, (counts[letter] ?? 0).toLocaleString("en"))));
  byId(id).replaceChildren(byId(id).querySelector("legend"), ...buttons);
}

function showFilters() {
  showFilter("states", states, view.states, (block) => model.states[block]);
  showFilter("verdicts", verdicts, view.verdicts, (block) => model.data.blocks.verdict[block]);
}

// Works everything out anew after values have changed.
function showStates() {
  model.update();
  // For programs that read the page: the states in the order of the file, a letter each.
  document.documentElement.dataset.states = model.states.join("");
  showGiven();
  showFilters();
  showTree();
  showDetail();
}

function setValue(index, text) {
  const problem = model.set(index, text);
  view.problems = problem === "" ? [] : [problem];
  if (problem === "") writeAddress();
  showStates();
  showVariablesAgain();
}

function clearValues() {
  model.clear();
  view.problems = [];
  writeAddress();
  showStates();
  showVariables();
}

// The part of an address: what has a meaning in it is escaped, nothing else is.
function escapedForAddress(text) {
  return encodeURIComponent(text).replace(/%(28|29|2C|5B|5D|3A)/g, decodeURIComponent);
}

function writeAddress() {
  if (location.hash !== view.address) return; // a new one is about to be read
  const pairs = [...model.values].map(([index, text]) =>
    `${escapedForAddress(model.variables[index].name)}=${escapedForAddress(text)}`);
  if (view.chosen !== model.order[0]) pairs.push(`@=${escapedForAddress(model.ids[view.chosen])}`);
  history.replaceState(null, "", `#${pairs.join("&")}`);
  view.address = location.hash;
}

function unescaped(text) {
  try {
    return decodeURIComponent(text);
  } catch {
    return text;
  }
}

// Takes a pair of the address; returns what is wrong with it. No variable is called "@".
function takePair(pair) {
  const [, name, text] = /^([^=]*)=?(.*)$/s.exec(pair).map(unescaped);
  if (name === "@") {
    view.chosen = model.ids.indexOf(text);
    return view.chosen < 0 ? `There is no block ${text}` : "";
  }
  const index = model.findVariable(name);
  if (index === undefined) return `There is no variable ${name}`;
  return text === "" ? `${name} has no value in the address` : model.set(index, text);
}

// Takes the values from the address, and the chosen block.
function readAddress() {
  view.address = location.hash;
  model.clear();
  const pairs = location.hash.slice(1).split("&").filter((pair) => pair !== "");
  view.problems = pairs.map(takePair).filter((problem) => problem !== "");
  if (view.chosen < 0 && model.size > 0) view.chosen = model.order[0];
  showStates();
  showVariables();
  if (view.chosen >= 0) choose(view.chosen);
}

function onSearch() {
  view.search = byId("search").value.trim().toLowerCase();
  view.foldedMatches.clear();
  showTree();
  byId("tree").scrollTop = 0;
  showRows();
}

// To the first block that was found.
function onSearchKey(event) {
  if (event.key === "Enter" || event.key === "ArrowDown") {
    event.preventDefault();
    const first = view.rows.find((block) => view.matches === null || view.matches.has(block));
    if (first !== undefined) choose(first);
    byId("tree").focus();
  } else if (event.key === "Escape") {
    byId("search").value = "";
    onSearch();
    byId("tree").focus();
    scrollToChosen();
  }
}

function onPageKey(event) {
  const isTyping = event.target.closest("input");
  if (event.key !== "/" || isTyping || event.ctrlKey || event.metaKey || event.altKey) return;
  event.preventDefault();
  byId("search").focus();
  byId("search").select();
}

// Makes the first column as wide as most names need; long ones often differ at their ends only.
function setNameWidth() {
  const widths = model.ids.map((id, block) => 16 * Math.min(model.depths[block], 24) + 7.6 * id.length);
  const most = widths.sort((a, b) => a - b)[Math.floor(0.95 * (widths.length - 1))] ?? 0;
  byId("tree").parentElement.style.setProperty("--names", `${Math.min(Math.round(most) + 90, 560)}px`);
}

function start() {
  document.title = model.data.model;
  byId("title").textContent = model.data.model;
  byId("subtitle").textContent =
    `${counted(model.size, "block")}, ${counted(model.variables.length, "variable")}, ` +
    `${model.data.family} conditions`;
  if (model.size > unfoldedBlocks) {
    for (const block of model.order) if (model.below[block] > 0) view.folded.add(block);
  }
  setNameWidth();
  byId("tree").addEventListener("scroll", onScroll, { passive: true });
  byId("tree").addEventListener("keydown", onTreeKey);
  byId("tree").addEventListener("click", onTreeClick);
  byId("unfold").addEventListener("click", () => foldAll(false));
  byId("fold").addEventListener("click", () => foldAll(true));
  byId("search").addEventListener("input", onSearch);
  byId("search").addEventListener("keydown", onSearchKey);
  byId("clear").addEventListener("click", clearValues);
  byId("variable-search").addEventListener("input", showVariables);
  byId("of-block").addEventListener("change", showVariables);
  addEventListener("resize", showRows);
  addEventListener("hashchange", readAddress);
  addEventListener("keydown", onPageKey);
  readAddress();
}

start();
