// Drives a real browser for page_test.py: a request in each line of the input, an answer in each line of the output, both
// JSON. {"op": "open", ...} makes a fresh window; the other requests are about that one.

import { createRequire } from "node:module";
import { createInterface } from "node:readline";
import { pathToFileURL } from "node:url";

const require = createRequire(pathToFileURL(process.env.TARVEL_BROWSER_DRIVER + "/"));
const { chromium } = require("playwright-core");

const browser = await chromium.launch({
  executablePath: process.env.TARVEL_BROWSER,
  // The tests may run as root, where the sandbox has no way to be; the pages are our own, from a file.
  args: ["--no-sandbox", "--disable-gpu"],
});

let context = null;
let page = null;
// What a page that is shown, and no more, never does.
let noticed = [];

const requests = {
  async open({ path, scripts = true, width = 1280, height = 900, scheme = "light" }) {
    await context?.close();
    noticed = [];
    context = await browser.newContext({ javaScriptEnabled: scripts, viewport: { width, height }, colorScheme: scheme });
    page = await context.newPage();
    const address = pathToFileURL(path).href;
    page.on("request", (request) => {
      if (request.url() !== address) noticed.push(`request ${request.url()}`);
    });
    page.on("console", (message) => noticed.push(`console ${message.text()}`));
    page.on("pageerror", (error) => noticed.push(`error ${error}`));
    page.on("dialog", (dialog) => {
      noticed.push(`dialog ${dialog.message()}`);
      dialog.dismiss();
    });
    page.on("popup", () => noticed.push("popup"));
    page.on("framenavigated", (frame) => {
      if (!frame.url().startsWith(address)) noticed.push(`navigation ${frame.url()}`);
    });
    await page.goto(address);
    return null;
  },
  evaluate: ({ code }) => page.evaluate(code),
  click: ({ selector }) => page.locator(selector).first().click(),
  fill: ({ selector, text }) => page.locator(selector).first().fill(text),
  press: ({ key }) => page.keyboard.press(key),
  picture: ({ path, whole = false }) => page.screenshot({ path, fullPage: whole }).then(() => null),
  paper: async ({ path }) => {
    await page.pdf({ path, format: "A4" });
    return null;
  },
  roles: async ({ selector }) => page.locator(selector).first().ariaSnapshot(),
  noticed: () => noticed,
};

for await (const line of createInterface({ input: process.stdin })) {
  const { op, ...rest } = JSON.parse(line);
  let answer;
  try {
    answer = { result: (await requests[op](rest)) ?? null };
  } catch (error) {
    answer = { problem: String(error) };
  }
  process.stdout.write(JSON.stringify(answer) + "\n");
}
await browser.close();
