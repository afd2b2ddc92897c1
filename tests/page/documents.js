// documents.js SITE [PICTURES]: for scripts/check-site, which made the pages in SITE.
const assert = require("node:assert");
const fs = require("node:fs");
const { chromium } = require("playwright-core");
const axe = fs.readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");
const [site, pictures] = process.argv.slice(2);
const options = ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
    "--disable-component-update", "--disable-sync"];
const pages = fs.readdirSync(site).filter(name => name.endsWith(".html"));

async function checkPage(context, name, where) {
    const page = await context.newPage();
    const requests = [];
    page.on("request", request => requests.push(request.url()));
    await page.goto(`file://${site}/${name}`);
    const seen = await page.evaluate(() => ({
        scripts: document.scripts.length,
        wider: document.documentElement.scrollWidth > document.documentElement.clientWidth,
        here: [...document.querySelectorAll("nav [aria-current]")].map(link => link.getAttribute("href")),
        reached: [...document.querySelectorAll("nav a")].map(link => link.getAttribute("href")),
    }));
    assert.equal(`${seen.scripts} scripts, wider: ${seen.wider}`, "0 scripts, wider: false", where);
    assert.equal(seen.here.join(), name, where);
    assert.equal(seen.reached.sort().join(), pages.join(), where);
    assert.equal(requests.filter(url => !url.startsWith(`file://${site}/`)).join(), "", where);
    await page.evaluate(axe);
    const { violations } = await page.evaluate(() => window.axe.run());
    assert.equal(violations.map(found => `${found.id}: ${found.nodes[0].html}`).join("\n"), "", where);
    if (pictures)
        await page.screenshot({ path: `${pictures}/${where}.png` });
    await page.close();
}

(async () => {
    const browser = await chromium.launch({ executablePath: "/usr/bin/chromium", args: options });
    for (const colorScheme of ["light", "dark"]) {
        for (const width of [1280, 400]) {
            const context = await browser.newContext({ colorScheme, viewport: { width, height: 1000 } });
            for (const name of pages)
                await checkPage(context, name, `${name}-${colorScheme}-${width}`);
            await context.close();
        }
    }
    await browser.close();
    console.log(`${pages.length} pages: light and dark, 1280 and 400 pixels`);
})().catch(error => { console.error(error); process.exit(1); });
