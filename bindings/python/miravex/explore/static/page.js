// The page on which operations are tried. What stands in the form, and nothing else, decides what is asked of the
// server; the address's fragment holds it, so that a link brings it back.
"use strict";

const byId = (id) => document.getElementById(id);

function element(name, properties = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key in made) made[key] = value;
    else made.setAttribute(key, value);
  }
  made.append(...children);
  return made;
}

let operations = new Map(); // by command
let files = []; // {key, name}, named at the start or dropped
let current = null; // the operation
let fields = new Map(); // of its form, by argument

// --- fields ------------------------------------------------------------------------------------------------

const isFileKind = (argument) => argument.kind === "image" || argument.path;
const isList = (argument) => ["reals", "integers", "array"].includes(argument.kind);
const isNumber = (argument) => ["integer", "real"].includes(argument.kind);
const takesSeveral = (argument) => argument.kind === "image" && (argument.image?.rank ?? []).includes(3);

const isPicture = (file) => /\.(png|jpe?g|bmp|dib|tiff?|webp|exr|hdr|pic|p[abgnp]m|jp2|ras|sr)$/i.test(file.name);
const isFilm = (file) => /\.(avi|mp4|m4v|mkv|mov|webm|mpe?g|gif)$/i.test(file.name);

// Whether a file may be what an argument takes, going by its name.
function fits(argument, file) {
  if (argument.path) return !isPicture(file);
  return isPicture(file) || (takesSeveral(argument) && isFilm(file));
}

function defaultOf(argument) {
  const given = argument.default;
  if (argument.kind === "boolean") return String(given ?? false);
  if (Array.isArray(given)) return given.join(",");
  return given === undefined || given === null || typeof given === "object" ? "" : String(given);
}

// A round number near x, at least as large.
function roundUp(x) {
  const power = 10 ** Math.floor(Math.log10(x));
  return [1, 2, 5, 10].map((n) => n * power).find((n) => n >= x * 0.999999);
}

// Where a slider goes: between the bounds where they are near, else over usual values; the field takes any other.
function sliderOf(argument, operation) {
  const far = 1e5;
  const typical = [defaultOf(argument), ...operation.examples.map((e) => e.values[argument.name] ?? "")]
    .filter((text) => text !== "").map(Number);
  const lower = argument.minimum && Math.abs(argument.minimum.value) < far ? argument.minimum : null;
  const upper = argument.maximum && Math.abs(argument.maximum.value) < far ? argument.maximum : null;
  if (typical.length === 0 && !(lower && upper)) return null;
  const least = Math.min(lower?.value ?? 0, ...typical);
  const usual = 4 * Math.max(...typical.map(Math.abs), argument.kind === "integer" ? 2 : 0);
  let most = Math.max(roundUp(usual || 1), least + (argument.kind === "integer" ? 4 : 0));
  if (upper && (upper.value < most || upper.value - least <= 100)) most = upper.value;
  let step = argument.kind === "integer" ? (argument.odd ? 2 : 1) : roundUp((most - least) / 200);
  const start = lower && !lower.inclusive && least === lower.value ? least + step : least;
  if (upper && !upper.inclusive && most === upper.value) most -= step;
  return most > start ? { min: start, max: most, step } : null;
}

class Field {
  constructor(argument, operation) {
    this.argument = argument;
    this.name = argument.name;
    this.fallback = defaultOf(argument);
    const id = `argument-${this.name}`;
    this.wrong = element("p", { className: "wrong", id: `${id}-wrong`, hidden: true });
    this.hint = element("p", { className: "hint", id: `${id}-hint` }, hintOf(argument));
    this.control = this.make(id, operation);
    this.control.setAttribute("aria-describedby", `${id}-wrong ${id}-hint`);
    const unit = argument.unit ? element("span", { className: "unit" }, ` in ${argument.unit}`) : "";
    const label = element("label", { htmlFor: id }, this.name.replaceAll("_", " "), unit);
    this.box = element("div", { className: "field" });
    this.box.dataset.name = this.name;
    if (argument.kind === "boolean") {
      label.className = "check";
      label.prepend(this.control);
      this.box.append(label, this.wrong, this.hint);
    } else {
      this.box.append(label, this.body ?? this.control, this.wrong, this.hint);
    }
  }

  make(id, operation) {
    const argument = this.argument;
    if (argument.kind === "boolean") return element("input", { type: "checkbox", id });
    if (argument.choices) {
      const blank = this.fallback ? [] : [new Option(argument.optional ? "(not given)" : "choose", "")];
      return element("select", { id }, ...blank, ...argument.choices.map((choice) => new Option(choice, choice)));
    }
    if (isNumber(argument)) return this.makeNumber(id, operation);
    if (isList(argument)) {
      const text = element("textarea", { id, rows: 2, spellcheck: false, placeholder: "numbers" });
      this.chooser = this.makeChooser(`${id}-file`, operation, "or from a file");
      this.chooser.setAttribute("aria-label", `${this.name.replaceAll("_", " ")} from a file`);
      this.body = element("div", {}, text, this.chooser);
      return text;
    }
    this.chooser = this.makeChooser(id, operation, argument.optional ? "(none)" : "choose a file");
    return this.chooser;
  }

  makeNumber(id, operation) {
    const text = element("input", { type: "text", id, inputMode: "decimal" });
    if (typeof this.argument.default === "object") text.placeholder = "usual";
    const range = sliderOf(this.argument, operation);
    if (!range) return text;
    this.slider = element("input", { type: "range", ...range });
    this.slider.setAttribute("aria-label", `${this.name.replaceAll("_", " ")}, slider`);
    this.slider.addEventListener("input", () => {
      text.value = String(Number(Number(this.slider.value).toPrecision(6)));
    });
    text.addEventListener("input", () => this.follow());
    this.body = element("div", { className: "pair" }, this.slider, text);
    return text;
  }

  // The slider shows where the number stands.
  follow() {
    if (this.slider) this.slider.value = this.control.value || this.fallback || this.slider.min;
  }

  makeChooser(id, operation, blank) {
    const chooser = element("select", { id, multiple: takesSeveral(this.argument) });
    if (chooser.multiple) chooser.size = 4;
    this.blank = chooser.multiple ? null : blank;
    this.samples = operation.samples;
    return chooser;
  }

  // Fills the list of files again, with what is chosen in it left as it is.
  fillChooser(wanted) {
    if (!this.chooser) return;
    const keys = wanted ?? this.chosen();
    const readsDropped = this.argument.kind !== "text" || this.argument.path;
    const listed = readsDropped ? files : [];
    const gone = keys.filter((key) => !listed.some((f) => f.key === key) && !this.samples.includes(key.slice(1)));
    const group = (label, options) => (options.length ? [element("optgroup", { label }, ...options)] : []);
    this.chooser.replaceChildren(
      ...(this.blank ? [new Option(this.blank, "")] : []),
      ...group("Files", listed.map((file) => new Option(file.name, file.key))),
      ...group("Samples", this.samples.map((name) => new Option(name.replaceAll("_", " "), `@${name}`))),
      ...gone.map((key) => new Option(`${key} (not here)`, key)),
    );
    for (const option of this.chooser.options) option.selected = keys.includes(option.value);
    if (this.blank && keys.length === 0) this.chooser.value = "";
  }

  chosen() {
    return [...this.chooser.selectedOptions].map((option) => option.value).filter((key) => key);
  }

  get value() {
    if (this.argument.kind === "boolean") return String(this.control.checked);
    if (this.chooser) {
      const keys = this.chosen();
      if (keys.length || this.chooser === this.control) return keys.join(",");
    }
    return this.control.value.trim();
  }

  set value(text) {
    if (this.argument.kind === "boolean") {
      this.control.checked = text === "true";
      return;
    }
    if (this.chooser) {
      this.fillChooser(text.startsWith("@") ? text.split(",") : []);
      if (this.chooser === this.control) return;
      text = text.startsWith("@") ? "" : text.replaceAll(";", "\n");
    }
    this.control.value = text;
    this.follow();
  }

  // Whether the value of another argument leaves this one unused.
  get idle() {
    const when = this.argument.usedWhen;
    return when ? (fields.get(when.argument)?.value ?? "") !== String(when.value) : false;
  }

  refuse(text, suggestion) {
    this.wrong.replaceChildren(text);
    if (suggestion && (isNumber(this.argument) || this.argument.choices)) {
      const use = element("button", { type: "button" }, `Use ${suggestion}`);
      use.addEventListener("click", () => {
        this.value = suggestion;
        this.control.focus();
        changed(true);
      });
      this.wrong.append(" ", use);
    }
    this.wrong.hidden = false;
    this.box.classList.add("refused");
    this.control.setAttribute("aria-invalid", "true");
  }

  accept() {
    this.wrong.hidden = true;
    this.wrong.replaceChildren();
    this.box.classList.remove("refused");
    this.control.removeAttribute("aria-invalid");
  }
}

function hintOf(argument) {
  const sentence = (text) => text.charAt(0).toUpperCase() + text.slice(1).replace(/\.$/, "") + ".";
  const parts = [sentence(argument.summary)];
  if (argument.accepted && !argument.choices && argument.kind !== "boolean" && !argument.path)
    parts.push(sentence(argument.accepted));
  if (argument.default?.derived) parts.push(sentence(`usually ${argument.default.derived}`));
  return parts.join(" ");
}

function addEveryField(operation) {
  fields = new Map();
  const shown = [...operation.arguments.filter((argument) => !argument.impliedBy), ...operation.scene];
  shown.sort((a, b) => (a.kind !== "image") - (b.kind !== "image"));
  for (const argument of shown) fields.set(argument.name, new Field(argument, operation));
  byId("fields").replaceChildren(...[...fields.values()].map((field) => field.box));
}

// --- what is asked -----------------------------------------------------------------------------------------

function values() {
  const given = {};
  for (const field of fields.values()) {
    const value = field.value;
    if (!field.idle && value !== "" && value !== field.fallback) given[field.name] = value;
  }
  return given;
}

function setValues(given) {
  for (const field of fields.values()) field.value = given[field.name] ?? field.fallback;
  updateForm();
}

function updateForm() {
  for (const field of fields.values()) field.box.hidden = field.idle;
}

const fragment = () => `#${current.command}?${new URLSearchParams(values())}`;

function readFragment(text) {
  const [command, query] = text.slice(1).split(/\?(.*)/s);
  const operation = operations.get(command);
  return operation ? { operation, given: Object.fromEntries(new URLSearchParams(query ?? "")) } : null;
}

function choose(operation, given) {
  if (operation !== current) {
    current = operation;
    byId("operation").value = operation.command;
    byId("summary").textContent = operation.summary;
    document.title = `${operation.command} - Miravex`;
    addEveryField(operation);
    byId("example").replaceChildren(
      new Option("choose", ""), ...operation.examples.map((example, i) => new Option(example.title, String(i))));
    showFacts(operation);
  }
  setValues(given);
}

function showFacts(operation) {
  const rules = operation.constraints.map((rule) => element("li", {}, `${rule.argument}: ${rule.expected}`));
  const limits = operation.limits.map((limit) => element("li", {}, limit));
  byId("facts").replaceChildren(element("ul", {}, ...rules, ...limits), operation.source);
  byId("more").hidden = rules.length + limits.length === 0 && !operation.source;
}

// An example, on the reader's own pictures when there are enough of them.
function exampleValues(operation, number) {
  const given = { ...operation.examples[number]?.values };
  const pictures = operation.arguments.filter((argument) => argument.kind === "image" && !argument.optional);
  const own = files.filter(isPicture);
  if (own.length === 0 || pictures.length === 0) return given;
  if (takesSeveral(pictures[0]) && own.length > 1) given[pictures[0].name] = own.map((file) => file.key).join(",");
  else if (!takesSeveral(pictures[0]) && own.length >= pictures.length)
    pictures.forEach((argument, i) => { given[argument.name] = own[i].key; });
  return given;
}

// --- undo --------------------------------------------------------------------------------------------------

let past = [];
let place = -1;

function remember() {
  const now = fragment();
  if (past[place] !== now) {
    past = [...past.slice(0, place + 1), now];
    place = past.length - 1;
  }
  byId("undo").disabled = place <= 0;
  byId("redo").disabled = place >= past.length - 1;
}

function go(step) {
  if (place + step < 0 || place + step >= past.length) return;
  place += step;
  restore(past[place]);
  remember();
}

function restore(text) {
  const asked = readFragment(text);
  if (!asked) return false;
  choose(asked.operation, asked.given);
  ask(0);
  return true;
}

// --- calls -------------------------------------------------------------------------------------------------

let waiting = 0;
let running = null; // of the call under way, to leave it
let ticket = 0;

// A value moved; `settled` when that is over and worth going back to.
function changed(settled) {
  updateForm();
  if (settled) remember();
  ask(settled ? 0 : 120);
}

function ask(delay) {
  history.replaceState(null, "", fragment());
  clearTimeout(waiting);
  waiting = setTimeout(run, delay);
}

function leave() {
  clearTimeout(waiting);
  running?.abort();
  running = null;
  ticket += 1;
  setBusy(false);
}

function setBusy(busy) {
  byId("progress").hidden = !busy;
  byId("stop").hidden = !busy;
  byId("result").setAttribute("aria-busy", String(busy));
  byId("figures").classList.toggle("old", busy);
}

async function run() {
  running?.abort();
  const mine = ++ticket;
  running = new AbortController();
  const started = performance.now();
  const slow = setInterval(() => {
    if (mine !== ticket) return clearInterval(slow);
    setBusy(true);
    const seconds = Math.floor((performance.now() - started) / 1000);
    byId("status").textContent = seconds < 2 ? "Working" : `Working for ${seconds} seconds`;
  }, 400);
  const body = JSON.stringify({ operation: current.command, values: values() });
  try {
    const response = await fetch("calls", {
      method: "POST", body, signal: running.signal, headers: { "Content-Type": "application/json" },
    });
    const told = await response.json();
    if (mine === ticket) await (told.error ? showRefusals(told) : showResult(told, mine));
  } catch (error) {
    if (error.name !== "AbortError" && mine === ticket)
      showRefusals({ error: "The server does not answer: start miravex explore again.", refusals: [] });
  } finally {
    clearInterval(slow);
    if (mine === ticket) setBusy(false);
  }
}

function acceptAll() {
  for (const field of fields.values()) field.accept();
  byId("failure").hidden = true;
}

function showRefusals(told) {
  acceptAll();
  const blamed = [];
  for (const refusal of told.refusals ?? []) {
    const field = fields.get(refusal.argument);
    if (!field || field.box.hidden) continue;
    const given = refusal.value === "missing" ? "This is missing" : `${refusal.value} is not accepted`;
    field.refuse(refusal.message ?? `${given}: expected ${refusal.expected}.`, refusal.suggestion);
    blamed.push(field.name.replaceAll("_", " "));
  }
  byId("status").textContent = blamed.length ? `Not called: see ${blamed.join(", ")}.` : "The call failed.";
  byId("failure").hidden = blamed.length > 0;
  byId("failure").textContent = blamed.length ? "" : told.error;
  byId("calls").hidden = true;
  byId("figures").classList.add("old");
}

async function showResult(told, mine) {
  const figures = await Promise.all([
    ...told.inputs.map((figure) => figureOf(figure, "before")), ...told.results.map((figure) => figureOf(figure, "after"))]);
  if (mine !== ticket) return;
  acceptAll();
  byId("figures").classList.remove("old");
  const time = told.milliseconds < 1000 ? `${told.milliseconds.toPrecision(3)} ms` : `${(told.milliseconds / 1000).toPrecision(3)} s`;
  byId("status").textContent = `Done in ${time}: ${told.outcome}.`;
  byId("notes").replaceChildren(...(told.notes ?? []).map((note) => element("li", {}, note)));
  byId("notes").hidden = !told.notes?.length;
  showFigures(figures);
  showTable(told.table);
  byId("files").hidden = told.files.length === 0;
  byId("files").replaceChildren("Download", ...told.files.map((file) => {
    const name = file.split("/").pop();
    return element("a", { href: file, download: name }, name);
  }));
  showCalls(told.calls);
}

// --- the result --------------------------------------------------------------------------------------------

async function figureOf({ file, caption }, side) {
  const image = element("img", { src: file, alt: `${caption} of ${current.command}` });
  const figure = element("figure", {}, image, element("figcaption", {}, caption));
  figure.dataset.side = side;
  try {
    await image.decode();
  } catch {
    return figure;
  }
  if (image.naturalWidth < 160) figure.className = "tiny";
  return figure;
}

let shown = [];

function showFigures(figures) {
  shown = figures;
  const before = figures.find((figure) => figure.dataset.side === "before")?.querySelector("img");
  const after = figures.filter((figure) => figure.dataset.side === "after").map((figure) => figure.querySelector("img"));
  const alike = before && after.length === 1 && before.naturalWidth === after[0].naturalWidth
    && before.naturalHeight === after[0].naturalHeight && before.naturalWidth > 0;
  byId("compare-choice").hidden = !alike;
  byId("edge-label").hidden = !byId("over").checked;
  if (!alike || !byId("over").checked) {
    byId("figures").replaceChildren(...figures);
    return;
  }
  const stack = element("div", { className: "over" }, before.cloneNode(), after[0].cloneNode());
  byId("figures").replaceChildren(
    element("figure", {}, stack, element("figcaption", {}, "before on the left of the edge, after on the right")));
  moveEdge();
}

function moveEdge() {
  const after = byId("figures").querySelector(".over img + img");
  if (after) after.style.clipPath = `inset(0 0 0 ${byId("edge").value}%)`;
}

function showTable(table) {
  byId("numbers").hidden = !table || table.rows.length === 0;
  if (byId("numbers").hidden) return;
  const number = (value) => (Number.isInteger(value) ? String(value) : Number(value).toPrecision(4));
  const more = table.columnsInAll > table.columns.length ? ["…"] : [];
  const row = (name, cells) => element("tr", {}, ...cells.map((cell) => element(name, {}, cell)));
  byId("numbers").replaceChildren(
    element("table", {}, row("th", [...table.columns, ...more]),
      ...table.rows.map((cells) => row("td", [...cells.map(number), ...more]))),
    element("p", {}, `${table.rowsInAll} rows, ${table.columnsInAll} columns in all`));
}

// --- the same call elsewhere -------------------------------------------------------------------------------

let language = "Command line";
let calls = {};

function showCalls(told) {
  calls = told;
  byId("calls").hidden = false;
  if (!(language in calls)) language = Object.keys(calls)[0];
  if (byId("languages").children.length === 0) {
    Object.keys(calls).forEach((name, i) => {
      const tab = element("button", { type: "button", role: "tab", id: `tab-${i}` }, name);
      tab.setAttribute("aria-controls", "call-panel");
      tab.addEventListener("click", () => selectLanguage(name));
      byId("languages").append(tab);
    });
  }
  selectLanguage(language);
}

function selectLanguage(name) {
  language = name;
  for (const tab of byId("languages").children) {
    const selected = tab.textContent === name;
    tab.setAttribute("aria-selected", String(selected));
    tab.tabIndex = selected ? 0 : -1;
    if (selected) byId("call-panel").setAttribute("aria-labelledby", tab.id);
  }
  byId("call").textContent = calls[name];
  byId("copied").textContent = "";
}

function moveTab(event) {
  const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
  if (!step) return;
  const names = Object.keys(calls);
  const next = (names.indexOf(language) + step + names.length) % names.length;
  selectLanguage(names[next]);
  byId("languages").children[next].focus();
}

async function copy() {
  try {
    await navigator.clipboard.writeText(calls[language]);
    byId("copied").textContent = "Copied.";
  } catch {
    getSelection().selectAllChildren(byId("call"));
    byId("copied").textContent = "Selected: press Ctrl+C.";
  }
}

// --- files -------------------------------------------------------------------------------------------------

async function addFiles(list) {
  const added = [];
  const failed = [];
  for (const file of list) {
    byId("dropped").textContent = `Reading ${file.name}`;
    try {
      const response = await fetch(`files?name=${encodeURIComponent(file.name)}`, { method: "POST", body: file });
      const told = await response.json();
      if (!response.ok) throw new Error(told.error);
      files = told.files;
      added.push(told.key);
    } catch (error) {
      failed.push(`${file.name}: ${error.message}`);
    }
  }
  byId("dropped").textContent = failed.length ? failed.join(" ") : `${added.length} ${added.length === 1 ? "file" : "files"} added.`;
  for (const field of fields.values()) field.fillChooser();
  const first = [...fields.values()].find((field) => isFileKind(field.argument) && !field.argument.optional);
  const usable = files.filter((file) => added.includes(file.key) && first && fits(first.argument, file)).map((file) => file.key);
  if (usable.length) {
    first.value = takesSeveral(first.argument) ? usable.join(",") : usable[0];
    changed(true);
  }
}

function watchForDrops() {
  document.addEventListener("dragover", (event) => {
    event.preventDefault();
    document.body.classList.add("dropping");
  });
  document.addEventListener("dragleave", (event) => {
    if (!event.relatedTarget) document.body.classList.remove("dropping");
  });
  document.addEventListener("drop", (event) => {
    event.preventDefault();
    document.body.classList.remove("dropping");
    addFiles(event.dataTransfer.files);
  });
  byId("add").addEventListener("change", (event) => addFiles(event.target.files));
}

// --- start -------------------------------------------------------------------------------------------------

function fillOperations() {
  const rooms = new Map();
  for (const operation of operations.values()) {
    if (!rooms.has(operation.roomTitle)) rooms.set(operation.roomTitle, element("optgroup", { label: operation.roomTitle }));
    rooms.get(operation.roomTitle).append(new Option(operation.command, operation.command));
  }
  byId("operation").replaceChildren(...rooms.values());
}

function watchTheForm() {
  const pick = byId("operation");
  pick.addEventListener("change", () => {
    const operation = operations.get(pick.value);
    choose(operation, exampleValues(operation, 0));
    changed(true);
  });
  byId("example").addEventListener("change", (event) => {
    if (event.target.value === "") return;
    setValues(exampleValues(current, Number(event.target.value)));
    event.target.value = "";
    changed(true);
  });
  byId("form").addEventListener("submit", (event) => event.preventDefault());
  byId("fields").addEventListener("input", (event) => {
    // A file for a list of numbers takes their place, and they its.
    const field = fields.get(event.target.closest(".field")?.dataset.name);
    if (field?.chooser && event.target !== field.chooser) field.chooser.value = "";
    else if (field?.chooser && field.control !== field.chooser) field.control.value = "";
    changed(false);
  });
  byId("fields").addEventListener("change", () => changed(true));
  byId("reset").addEventListener("click", () => {
    // What has no default stays.
    const stays = (field) => isFileKind(field.argument) || (field.fallback === "" && !field.argument.optional);
    const kept = Object.entries(values()).filter(([name]) => stays(fields.get(name)));
    setValues(Object.fromEntries(kept));
    changed(true);
  });
  byId("undo").addEventListener("click", () => go(-1));
  byId("redo").addEventListener("click", () => go(1));
  byId("stop").addEventListener("click", () => {
    leave();
    byId("status").textContent = "Left behind.";
    byId("operation").focus();
  });
  document.addEventListener("keydown", (event) => {
    const typing = event.target.matches("textarea, input[type=text]");
    if (!(event.ctrlKey || event.metaKey) || event.key.toLowerCase() !== "z" || typing) return;
    event.preventDefault();
    go(event.shiftKey ? 1 : -1);
  });
}

async function start() {
  const told = await (await fetch("catalogue")).json();
  operations = new Map(told.operations.map((operation) => [operation.command, operation]));
  files = told.files;
  fillOperations();
  watchTheForm();
  watchForDrops();
  byId("over").addEventListener("change", () => showFigures(shown));
  byId("edge").addEventListener("input", moveEdge);
  byId("languages").addEventListener("keydown", moveTab);
  byId("copy").addEventListener("click", copy);
  addEventListener("hashchange", () => {
    if (location.hash !== fragment() && restore(location.hash)) remember();
  });
  if (!restore(location.hash)) {
    const first = operations.get("median-filter") ?? operations.values().next().value;
    choose(first, exampleValues(first, 0));
    ask(0);
  }
  remember();
}

start();
