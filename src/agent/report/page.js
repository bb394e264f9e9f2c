"use strict";

// What the page can do beyond being read: search, sort, other colours.
(() => {
  const root = document.documentElement;

  // --- Colours: those of the system until the button is used.
  const dark = window.matchMedia("(prefers-color-scheme: dark)");
  const button = document.getElementById("colours");
  const isDark = () => (root.dataset.colours ?? (dark.matches ? "dark" : "light")) === "dark";
  const showColours = () => {
    button.textContent = isDark() ? "Light colours" : "Dark colours";
  };
  button.addEventListener("click", () => {
    root.dataset.colours = isDark() ? "light" : "dark";
    showColours();
  });
  dark.addEventListener("change", showColours);

  // --- Sorting: up, down, then as in the document again.
  const collator = new Intl.Collator(undefined, { numeric: true, sensitivity: "base" });
  const next = { none: "ascending", ascending: "descending", descending: "none" };

  // What a cell says now; what it said before stands behind it.
  const textOf = (cell) => (cell.querySelector("ins") ?? cell).textContent.trim();

  const compare = (left, right, numeric) =>
    numeric ? Number(left) - Number(right) : collator.compare(left, right);

  // Rows without a value are last, whichever way the others go.
  const sorted = (rows, column, order, numeric) => {
    const sign = order === "descending" ? -1 : 1;
    const keyed = rows.map((row) => ({ row, key: textOf(row.cells[column]) }));
    keyed.sort((left, right) => {
      if (left.key === "" || right.key === "") return (left.key === "") - (right.key === "");
      return sign * compare(left.key, right.key, numeric);
    });
    return keyed.map((entry) => entry.row);
  };

  const makeSortable = (table) => {
    const body = table.tBodies[0];
    const inOrder = [...body.rows];
    const headings = [...table.tHead.rows[0].cells];
    headings.forEach((heading, column) => {
      const sorter = document.createElement("button");
      sorter.type = "button";
      sorter.append(...heading.childNodes);
      heading.append(sorter);
      heading.setAttribute("aria-sort", "none");
      sorter.addEventListener("click", () => {
        const order = next[heading.getAttribute("aria-sort")];
        const numeric = heading.classList.contains("num");
        for (const other of headings) other.setAttribute("aria-sort", "none");
        heading.setAttribute("aria-sort", order);
        body.append(...(order === "none" ? inOrder : sorted(inOrder, column, order, numeric)));
      });
    });
  };
  document.querySelectorAll("table.grid").forEach(makeSortable);

  // --- Search: rows that have all of the words, with the name of their class.
  const sections = [...document.querySelectorAll(".class")].map((section) => {
    const name = section.querySelector("h3").textContent;
    const rows = [...section.querySelectorAll("tbody tr")].map((row) => ({
      row,
      text: (name + " " + row.textContent).toLowerCase(),
    }));
    return { section, rows };
  });
  const total = sections.reduce((sum, { rows }) => sum + rows.length, 0);
  const others = document.querySelectorAll("#glance, #capacity, #changes, .empty");
  const found = document.getElementById("found");
  const nothing = document.getElementById("nothing-found");

  const search = (text) => {
    const words = text.toLowerCase().split(/\s+/).filter(Boolean);
    let count = 0;
    for (const { section, rows } of sections) {
      let here = 0;
      for (const { row, text: rowText } of rows) {
        const isFound = words.every((word) => rowText.includes(word));
        row.hidden = !isFound;
        if (isFound) here += 1;
      }
      section.hidden = here === 0;
      count += here;
    }
    for (const other of others) other.hidden = words.length > 0;
    nothing.hidden = words.length === 0 || count > 0;
    found.textContent = words.length === 0 ? "" : `${count} of ${total} rows`;
  };

  const field = document.getElementById("search");
  field.addEventListener("input", () => search(field.value));
  field.addEventListener("keydown", (event) => {
    if (event.key !== "Escape") return;
    field.value = "";
    search("");
  });
  document.addEventListener("keydown", (event) => {
    if (event.key !== "/" || event.target.closest("input")) return;
    event.preventDefault();
    field.focus();
  });

  showColours();
  document.querySelector(".tools").hidden = false;
})();
