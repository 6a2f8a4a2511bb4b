// Drives a real browser for page_test.py: a request in each line of the input, an answer in each line of the output, both
// JSON. {"op": "open", ...} shows a page; the other requests are about that one.

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
// What the context was made with: another one takes longer than all that a test does in it.
let made = null;
// Where the page is.
let address = null;
// What a page that is shown, and no more, never does.
let noticed = [];

async function openContext(options) {
  if (made === JSON.stringify(options)) return;
  made = JSON.stringify(options);
  await context?.close();
  context = await browser.newContext(options);
  page = await context.newPage();
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
}

const requests = {
  async open({ path, scripts = true, width = 1280, height = 900, scheme = "light" }) {
    await openContext({ javaScriptEnabled: scripts, colorScheme: scheme });
    await page.setViewportSize({ width, height });
    address = pathToFileURL(path).href;
    noticed = [];
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
