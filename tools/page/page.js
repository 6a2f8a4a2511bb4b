"use strict";
// Adds the search and the buttons. Everything else on the page works without this.
(() => {
  const search = document.getElementById("search");
  const found = document.getElementById("found");
  // In the order of the page, so that a folder comes before what is in it.
  let rows = null;
  let remembered = null;

  const folded = (text) => text.normalize("NFKD").replace(/\p{M}+/gu, "").toLowerCase();

  const ownText = (row) => {
    const line = row.querySelector(":scope > details > summary") || row;
    return folded(Array.from(line.querySelectorAll(":scope > .t, :scope > .u"), (e) => e.textContent).join("\n"));
  };

  const collectRows = () => {
    const elements = Array.from(document.querySelectorAll(".tree li"));
    const numbers = new Map(elements.map((element, number) => [element, number]));
    return elements.map((element) => ({
      element,
      text: ownText(element),
      details: element.querySelector(":scope > details"),
      column: element.closest("section").id,
      parent: numbers.get(element.parentElement.closest("li")) ?? -1,
    }));
  };

  const remember = () => {
    if (!remembered) remembered = rows.map((row) => row.details !== null && row.details.open);
  };

  const restore = () => {
    if (!remembered) return;
    rows.forEach((row, i) => {
      row.element.classList.remove("x");
      if (row.details) row.details.open = remembered[i];
    });
    remembered = null;
  };

  const apply = (wanted) => {
    const hits = rows.map((row) => row.text.includes(wanted));
    const below = hits.map(() => false);
    const inside = hits.map(() => false);
    for (let i = 0; i < rows.length; i++) {
      const parent = rows[i].parent;
      inside[i] = parent >= 0 && (inside[parent] || hits[parent]);
    }
    for (let i = rows.length - 1; i >= 0; i--) {
      if ((hits[i] || below[i]) && rows[i].parent >= 0) below[rows[i].parent] = true;
    }
    rows.forEach((row, i) => {
      row.element.classList.toggle("x", !hits[i] && !below[i] && !inside[i]);
      if (row.details && below[i]) row.details.open = true;
    });
    return hits;
  };

  const tell = (hits) => {
    const inColumn = (id) => rows.filter((row, i) => hits[i] && row.column === id).length;
    found.textContent = `Found: ${inColumn("before")} before, ${inColumn("after")} after`;
  };

  const run = () => {
    const wanted = folded(search.value.trim());
    rows ??= collectRows();
    if (wanted === "") {
      restore();
      found.textContent = "";
      return;
    }
    remember();
    tell(apply(wanted));
  };

  const setAll = (isOpen) => {
    for (const details of document.querySelectorAll(".tree details")) details.open = isOpen;
    remembered = null;
  };

  const isHidden = (element) => {
    for (let e = element; e; e = e.parentElement) if (getComputedStyle(e).display === "none") return true;
    return false;
  };

  // A link to what a filter or the search hides shows everything first.
  const showTarget = (event) => {
    const link = event.target.closest("a[href^='#']");
    const target = link && document.getElementById(link.hash.slice(1));
    if (!target || !isHidden(target)) return;
    document.getElementById("only-all").checked = true;
    search.value = "";
    run();
  };

  let timer = 0;
  search.addEventListener("input", () => {
    clearTimeout(timer);
    timer = setTimeout(run, 120);
  });
  document.getElementById("open").addEventListener("click", () => setAll(true));
  document.getElementById("close").addEventListener("click", () => setAll(false));
  document.addEventListener("click", showTarget);
  document.getElementById("scripted").hidden = false;
})();
