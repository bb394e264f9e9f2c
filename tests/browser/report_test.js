// The report as a reader meets it, in a browser.

import assert from "node:assert/strict";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { hostileValues, makePages, openBrowser } from "./pages.js";

let pages;
let browser;
let page;
let complaints;  // of the page that is open

before(async () => {
  pages = makePages();
  browser = await openBrowser();
});
after(async () => {
  await browser.close();
  pages.remove();
});
beforeEach(async () => {
  page = await browser.newPage();
  complaints = [];
  page.on("console", (message) => complaints.push(message.text()));
  page.on("pageerror", (error) => complaints.push(String(error)));
  page.on("dialog", (dialog) => complaints.push(dialog.message()));
  page.on("request", (request) => {
    if (!request.url().endsWith(".html")) complaints.push(`request of ${request.url()}`);
  });
});
afterEach(async () => {
  await page.close();
});

const open = (name) => page.goto(`file://${pages.path(name)}`);

const section = (name) => page.locator(".class").filter({
  has: page.locator("h3 > span:first-child", { hasText: new RegExp(`^${name}$`) }),
});

// The texts of a column of a class's table, from top to bottom.
const column = (name, index) =>
  section(name).locator("tbody tr").evaluateAll(
    (rows, at) => rows.map((row) => (row.cells[at].querySelector("ins") ?? row.cells[at])
      .textContent.trim()), index);

const widthBeyondThePage = () =>
  page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);

// The contrast of an element's text to what is behind it, as WCAG counts it.
const contrast = (selector) => page.locator(selector).first().evaluate((element) => {
  const canvas = document.createElement("canvas").getContext("2d", { willReadFrequently: true });
  const channels = (colour) => {
    canvas.clearRect(0, 0, 1, 1);
    canvas.fillStyle = colour;
    canvas.fillRect(0, 0, 1, 1);
    return canvas.getImageData(0, 0, 1, 1).data;
  };
  const luminance = (data) => {
    const [red, green, blue] = [...data].slice(0, 3).map((value) => {
      const part = value / 255;
      return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
  };
  let behind = element;
  while (behind.parentElement && channels(getComputedStyle(behind).backgroundColor)[3] === 0) {
    behind = behind.parentElement;
  }
  const text = luminance(channels(getComputedStyle(element).color));
  const ground = luminance(channels(getComputedStyle(behind).backgroundColor));
  return (Math.max(text, ground) + 0.05) / (Math.min(text, ground) + 0.05);
});

const isDark = () => page.evaluate(() => {
  const [red] = getComputedStyle(document.body).backgroundColor.match(/\d+/g);
  return Number(red) < 128;
});

describe("reading", () => {
  test("every page opens without a complaint and asks for nothing", async () => {
    for (const name of pages.all) await open(name);
    assert.deepEqual(complaints, []);
  });

  test("the machine, its changes and all classes are there", async () => {
    await open("server.html");
    assert.equal(await page.title(), "db01.plant.example - hardware inventory");
    assert.equal(await page.locator("h1").textContent(), "db01.plant.example");
    assert.match(await page.locator("#glance").textContent(), /Example Xeon CPU E5-2650/);
    assert.match(await page.locator("#changes p").textContent(), /since the inventory last sent/);
    assert.equal(await page.locator("#changes tbody tr").count(), 6);
    assert.match(await section("Logical Disk").textContent(), /sda3 modified/);
    assert.equal(await section("Logical Disk").locator("tr.added").count(), 1);
    assert.equal(await section("Logical Disk").locator("td.changed del").first().textContent(),
                 "17779");
    assert.match(await page.locator(".empty").textContent(), /Keyboard/);
  });

  test("each name of the contents leads to its section", async () => {
    await open("server.html");
    const targets = await page.locator("nav a").evaluateAll(
      (links) => links.map((link) => document.querySelector(link.hash)?.textContent
        .includes(link.textContent) ?? false));
    assert.ok(targets.length > 10);
    assert.ok(targets.every(Boolean));
  });

  test("big machines have all of their rows", async () => {
    await open("cpus.html");
    assert.equal(await section("Processor").locator("tbody tr").count(), 512);
    await open("mounts.html");
    assert.equal(await section("Logical Disk").locator("tbody tr").count(), 400);
    assert.equal(await page.locator("#capacity .bar .first").count(), 13);
  });

  test("without scripts all of it is there but the tools", async () => {
    const plain = await openBrowser({ javaScriptEnabled: false });
    try {
      page = await plain.newPage();
      await open("server.html");
      assert.ok(await section("Logical Disk").locator("tbody tr").first().isVisible());
      assert.ok(await page.locator("#changes tbody tr").first().isVisible());
      assert.ok(!(await page.locator(".tools").isVisible()));
      assert.equal(await page.locator("th button").count(), 0);
    } finally {
      await plain.close();
    }
  });
});

describe("searching", () => {
  test("shows the rows that have all words, and all again", async () => {
    await open("server.html");
    await page.keyboard.press("/");
    await page.keyboard.type("SDB1 xfs");
    assert.deepEqual(await page.locator(".class tbody tr:visible th").allTextContents(),
                     ["sdb1 added"]);
    assert.match(await page.locator("#found").textContent(), /^1 of \d+ rows$/);
    assert.ok(!(await page.locator("#glance").isVisible()));
    await page.keyboard.press("Escape");
    assert.ok(await page.locator("#glance").isVisible());
    assert.equal(await page.locator(".class tbody tr:visible").count(),
                 await page.locator(".class tbody tr").count());
    assert.equal(await page.locator("#found").textContent(), "");
  });

  test("finds a class by its name", async () => {
    await open("server.html");
    await page.fill("#search", "network adapter configuration");
    assert.equal(await page.locator(".class:visible").count(), 1);
    assert.equal(await page.locator(".class tbody tr:visible").count(), 2);
  });

  test("says when there is nothing", async () => {
    await open("server.html");
    await page.fill("#search", "no such thing");
    assert.ok(await page.locator("#nothing-found").isVisible());
    assert.equal(await page.locator(".class:visible").count(), 0);
  });
});

describe("sorting", () => {
  const sizes = () => column("Logical Disk", 4);

  test("numbers up, down and as they were", async () => {
    await open("server.html");
    const heading = section("Logical Disk").locator("thead th").nth(4);
    const inOrder = await sizes();
    await heading.locator("button").click();
    assert.deepEqual(await sizes(), ["20158", "51606", "976762"]);
    assert.equal(await heading.getAttribute("aria-sort"), "ascending");
    await heading.locator("button").click();
    assert.deepEqual(await sizes(), ["976762", "51606", "20158"]);
    assert.equal(await heading.getAttribute("aria-sort"), "descending");
    await heading.locator("button").click();
    assert.deepEqual(await sizes(), inOrder);
    assert.equal(await heading.getAttribute("aria-sort"), "none");
  });

  test("shows the way it goes", async () => {
    await open("server.html");
    const button = section("Logical Disk").locator("thead button").first();
    const arrow = () => button.evaluate(
      (element) => getComputedStyle(element, "::after").content.replaceAll('"', ""));
    const seen = [await arrow()];
    for (let press = 0; press < 3; ++press) {
      await button.click();
      seen.push(await arrow());
    }
    assert.deepEqual(seen, ["\u2195", "\u2191", "\u2193", "\u2195"]);
  });

  test("goes by what a value is, not by what it was", async () => {
    await open("server.html");
    await section("Logical Disk").getByRole("button", { name: "FreeSpace" }).click();
    assert.deepEqual(await column("Logical Disk", 5), ["15661", "38663", "876762"]);
  });

  test("works from the keyboard, and names with numbers are in their order", async () => {
    await open("cpus.html");
    const button = section("Processor").getByRole("button", { name: "Instance" });
    await button.focus();
    await page.keyboard.press("Enter");
    await page.keyboard.press("Enter");
    assert.deepEqual((await column("Processor", 0)).slice(0, 3), ["511", "510", "509"]);
    assert.ok(await button.evaluate((element) => element === document.activeElement));
  });

  test("leaves rows without a value at the end", async () => {
    await open("server.html");
    const button = section("Network Adapter Configuration").getByRole("button",
                                                                      { name: "IPAddress" });
    for (let press = 0; press < 2; ++press) {
      await button.click();
      assert.deepEqual(await column("Network Adapter Configuration", 0), ["eth0", "lo"]);
    }
  });
});

describe("hostile values", () => {
  test("are shown as text", async () => {
    await open("hostile.html");
    const text = await page.locator("main").evaluate((main) => main.textContent);
    for (const name of ["script", "image", "quotes", "entity", "hebrew", "long"]) {
      assert.ok(text.includes(hostileValues[name]), name);
    }
    assert.ok(text.includes("a\uFFFDb"));
    assert.ok(text.includes("\\xe2\\x80\\xaeexe.txt"));
    assert.ok(!text.includes("\u202E"));
  });

  test("make no element and run nothing", async () => {
    await open("hostile.html");
    await page.locator(".class th button").first().focus();
    assert.equal(await page.locator("img").count(), 0);
    assert.equal(await page.locator("script").count(), 1);
    assert.notEqual(await page.title(), "taken");
    assert.deepEqual(complaints, []);
  });

  test("could do nothing if they were markup", async () => {
    await open("hostile.html");
    await page.evaluate(() => {
      const script = document.createElement("script");
      script.textContent = "document.title = 'taken'";
      document.body.append(script);
      const image = document.createElement("img");
      image.setAttribute("onerror", "document.title = 'taken'");
      image.src = "https://example.invalid/x";
      document.body.append(image);
    });
    await page.waitForFunction(() => document.querySelector("img").complete);
    assert.notEqual(await page.title(), "taken");
    assert.ok(complaints.some((text) => text.includes("Content Security Policy")));
  });

  test("are found by a search", async () => {
    await open("hostile.html");
    await page.fill("#search", "<img src=x");
    assert.equal(await page.locator(".class tbody tr:visible").count(), 2);
  });
});

describe("looks", () => {
  for (const width of [360, 768, 1400]) {
    test(`no page is wider than a screen of ${width} pixels`, async () => {
      await page.setViewportSize({ width, height: 800 });
      for (const name of pages.all) {
        await open(name);
        assert.ok((await widthBeyondThePage()) <= 0, name);
        assert.ok((await page.locator("h1").boundingBox()).width <= width, name);
      }
    });
  }

  for (const scheme of ["light", "dark"]) {
    test(`the ${scheme} colours can be read`, async () => {
      await page.emulateMedia({ colorScheme: scheme });
      await open("server.html");
      assert.equal(await isDark(), scheme === "dark");
      for (const selector of ["h1", ".top p", "nav a", ".count", ".glance dd", ".tag.added",
        ".tag.modified", "td.changed ins", "td.changed del", "tr.added td", ".bar-figures",
        ".grid thead th", ".note", "#colours"]) {
        const ratio = await contrast(selector);
        assert.ok(ratio >= 4.5, `${selector}: ${ratio.toFixed(2)}`);
      }
    });
  }

  test("the switch turns the colours over, and back", async () => {
    await page.emulateMedia({ colorScheme: "dark" });
    await open("server.html");
    await page.getByRole("button", { name: "Light colours" }).click();
    assert.equal(await isDark(), false);
    await page.getByRole("button", { name: "Dark colours" }).click();
    assert.equal(await isDark(), true);
  });

  test("numbers end below the end of their heading", async () => {
    await open("server.html");
    const ends = await section("Logical Disk").locator("tr").evaluateAll(
      (rows) => rows.map((row) => {
        const range = document.createRange();
        const cell = row.cells[4];
        range.selectNodeContents(cell.querySelector("button") ?? cell);
        return Math.round(range.getBoundingClientRect().right);
      }));
    assert.equal(new Set(ends).size, 1, ends.join(" "));
  });

  test("long tables keep their heading in sight", async () => {
    await open("cpus.html");
    const region = section("Processor").locator(".scroll");
    await region.evaluate((element) => element.scrollTo(0, 5000));
    const top = (await region.boundingBox()).y;
    const heading = (await region.locator("thead th").first().boundingBox()).y;
    assert.ok(Math.abs(heading - top) <= 2, `${heading} against ${top}`);
  });
});

describe("print", () => {
  test("is light, whole and without the tools", async () => {
    await page.emulateMedia({ media: "print", colorScheme: "dark" });
    await page.setViewportSize({ width: 700, height: 1000 });
    await open("cpus.html");
    assert.equal(await isDark(), false);
    assert.ok(!(await page.locator("nav").isVisible()));
    assert.ok(!(await page.locator(".tools").isVisible()));
    const { shown, all } = await section("Processor").locator(".scroll").evaluate(
      (element) => ({ shown: element.clientHeight, all: element.scrollHeight }));
    assert.equal(shown, all);
  });

  test("no page is wider than the paper", async () => {
    await page.emulateMedia({ media: "print" });
    await page.setViewportSize({ width: 688, height: 1000 });
    for (const name of pages.all) {
      await open(name);
      assert.ok((await widthBeyondThePage()) <= 0, name);
    }
  });
});

describe("assistive technology", () => {
  test("every table has headings with a scope, and every region a name", async () => {
    await open("server.html");
    const lacking = await page.evaluate(() => ({
      headings: document.querySelectorAll("th:not([scope])").length,
      tables: [...document.querySelectorAll("table")].filter((table) => !table.tHead).length,
      regions: [...document.querySelectorAll(".scroll")].filter(
        (region) => region.tabIndex !== 0 ||
          !document.getElementById(region.getAttribute("aria-labelledby"))).length,
      buttons: [...document.querySelectorAll("button")].filter(
        (button) => button.textContent.trim() === "").length,
      ids: document.querySelectorAll("[id]").length -
        new Set([...document.querySelectorAll("[id]")].map((element) => element.id)).size,
    }));
    assert.deepEqual(lacking, { headings: 0, tables: 0, regions: 0, buttons: 0, ids: 0 });
  });

  test("no level of heading is left out", async () => {
    await open("server.html");
    const levels = await page.locator("h1, h2, h3, h4").evaluateAll(
      (headings) => headings.map((heading) => Number(heading.tagName[1])));
    assert.equal(levels[0], 1);
    levels.slice(1).forEach((level, at) => assert.ok(level <= levels[at] + 1));
  });
});
