// node screenshot.js FILE.png: the picture of the documentation.

import { makePages, openBrowser } from "./pages.js";

const pages = makePages();
const browser = await openBrowser({ viewport: { width: 1280, height: 1050 } });
try {
  const page = await browser.newPage();
  await page.goto(`file://${pages.path("server.html")}`);
  await page.screenshot({ path: process.argv[2] });
} finally {
  await browser.close();
  pages.remove();
}
