// Reports to look at, made by the agent, and the browser to look at them with.

import { execFileSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, rmSync, utimesSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { chromium } from "playwright-core";

const program = process.env.KOR_AGENT_PROGRAM;
const module = process.env.KOR_MODULE_FILE;
const machines = join(dirname(fileURLToPath(import.meta.url)), "..", "machines");

// A name or value as the stored document carries it.
const inXml = (text) =>
  text.replace(/[&<>"]/g, (character) => `&#${character.codePointAt(0)};`);

export const hostileValues = {
  script: "</script><script>document.title = 'taken'</script>",
  image: "<img src=x onerror=\"document.title = 'taken'\">",
  quotes: "\"'`> autofocus onfocus=\"document.title = 'taken'\"",
  entity: "&lt;b&gt; &amp;amp;",
  rightToLeft: "\u202Eexe.txt",
  hebrew: "\u05D0\u05D1\u05D2 disk (1)",
  long: "x".repeat(5000),
};

const hostileDocument = () => {
  const values = Object.entries(hostileValues);
  const names = [...values.map(([, text]) => text), "bytes"];
  const definitions = names.map(
    (name) => `<attribute name="${inXml(name)}" unit="${inXml(hostileValues.image)}"` +
      ` description="${inXml(hostileValues.quotes)}"/>`);
  const cells = [
    ...values.map(([, text]) => `<value name="${inXml(text)}">${inXml(text)}</value>`),
    '<value name="bytes">a&#x10FEFF;b</value>',
  ].join("");
  const instances = [hostileValues.image, hostileValues.rightToLeft].map(
    (name) => `<instance name="${inXml(name)}">${cells}</instance>`);
  const single = `<class name="Computer System"><instance name="0"><value name="Name">` +
    `${inXml(hostileValues.script)}</value><value name="Long">${hostileValues.long}</value>` +
    `</instance></class>`;
  return '<?xml version="1.0" encoding="UTF-8"?>\n<inventory format="1" name="HWINVENTORY">' +
    `${single}<class name="${inXml(hostileValues.script)}">${definitions.join("")}` +
    `${instances.join("")}</class></inventory>\n`;
};

// The server as it was before its second disk: less free space and an older kernel.
const earlierServer = () =>
  readFileSync(join(machines, "classic_server.machine"), "utf8")
    .replace("354871.53", "29634201.08")
    .replace("2.6.32-358.el6", "2.6.32-279.el6")
    .replace("51606140 10321228  38663472      22%", "51606140 31204880  17779820      64%")
    .split("\n")
    .filter((line) => !line.startsWith("|/dev/sdb1"))
    .join("\n");

// A folder of pages: their paths by name, and remove().
export const makePages = () => {
  const folder = mkdtempSync(join(tmpdir(), "kor-browser-"));
  const path = (name) => join(folder, name);
  const agent = (...parts) => execFileSync(program, parts, { maxBuffer: 1 << 28 });
  const examine = (machine, document) =>
    writeFileSync(path(document), agent("inventory", "--format", "xml", "--module", module,
                                        "--replay", machine));
  const report = (name, ...parts) => agent("report", "-o", path(name), ...parts);

  const store = "home/data/HardwareInventory";
  mkdirSync(path(store), { recursive: true });
  writeFileSync(path("earlier.machine"), earlierServer());
  examine(path("earlier.machine"), `${store}/HardwareInventorySent.xml`);
  examine(join(machines, "classic_server.machine"), `${store}/HardwareInventoryLast.xml`);
  const days = 24 * 60 * 60;
  const now = Date.now() / 1000;
  utimesSync(path(`${store}/HardwareInventorySent.xml`), now, now - 7 * days);
  for (const name of ["cpus_512", "mounts_400", "several_nics"]) {
    examine(join(machines, `${name}.machine`), `${name}.xml`);
  }
  writeFileSync(path("hostile.xml"), hostileDocument());

  report("server.html", "--home", path("home"));
  report("cpus.html", path("cpus_512.xml"));
  report("mounts.html", path("mounts_400.xml"));
  report("nics.html", path("several_nics.xml"));
  report("hostile.html", path("hostile.xml"));
  return {
    path,
    all: ["server.html", "cpus.html", "mounts.html", "nics.html", "hostile.html"],
    remove: () => rmSync(folder, { recursive: true }),
  };
};

// A browser with a profile of its own: newPage() and close().
export const openBrowser = async (options = {}) => {
  const profile = mkdtempSync(join(tmpdir(), "kor-browser-profile-"));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: "/usr/bin/chromium",
    headless: true,
    args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
      "--disable-background-networking", "--disable-component-update", "--disable-sync"],
    ...options,
  });
  return {
    newPage: () => context.newPage(),
    close: async () => {
      await context.close();
      rmSync(profile, { recursive: true, force: true, maxRetries: 5 });
    },
  };
};
