// reportPage.js DIRECTORY [PICTURE]: for scripts/check-page, which made the pages and the JUnit files in DIRECTORY.
const assert = require("node:assert");
const fs = require("node:fs");
const { chromium } = require("playwright-core");
const axe = fs.readFileSync(require.resolve("axe-core/axe.min.js"), "utf8");
const [directory, picture] = process.argv.slice(2);
const options = ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
    "--disable-component-update", "--disable-sync"];

// What the page shows, as far as a script can see it.
function look() {
    const signs = [...document.querySelectorAll(".word > [aria-hidden]")];
    const colourOf = element => getComputedStyle(element).color;
    return {
        scripts: document.querySelectorAll("script, img, link, [onerror]").length,
        title: document.title,
        language: document.documentElement.lang,
        hosts: document.querySelectorAll("details.host").length,
        rows: document.querySelectorAll("tbody tr th a").length,
        order: [...document.querySelectorAll("details.host")].map(host => host.classList[1]),
        common: document.querySelectorAll("[id^=common-]").length,
        changes: document.querySelectorAll("#changes + p + ul > li").length,
        waived: document.querySelectorAll("li.waived").length,
        wider: document.documentElement.scrollWidth > document.documentElement.clientWidth,
        firstColumn: document.querySelector("tbody th").offsetWidth / document.documentElement.clientWidth,
        cutAbout: document.querySelector("#about").scrollWidth > document.documentElement.clientWidth,
        strangeSigns: signs.filter(sign => colourOf(sign) !== colourOf(sign.parentElement)).length,
    };
}

async function checkPage(browser, name, colorScheme, width) {
    const context = await browser.newContext({ colorScheme, viewport: { width, height: 1000 } });
    const page = await context.newPage();
    const where = `${name}, ${colorScheme}, ${width}`;
    const requests = [];
    const dialogs = [];
    page.on("request", request => requests.push(request.url()));
    page.on("dialog", dialog => { dialogs.push(dialog.message()); dialog.dismiss(); });
    await page.goto(`file://${directory}/${name}.html`);
    const seen = await page.evaluate(look);
    assert.deepEqual([seen.scripts, dialogs, requests.length], [0, [], 1], where);
    assert.deepEqual([seen.wider, seen.cutAbout, seen.strangeSigns], [false, false, 0], where);
    assert(seen.firstColumn < 0.45, where); // it stays while the levels move behind it
    const [set, language = "en"] = name.split("-");
    const hosts = { one: 1, plain: 7, hosts: 9, many: 200 }[set];
    assert.equal(seen.language, language, where);
    assert.equal(/^Prerequisites: \d+ hosts?: /.test(seen.title), language === "en", where);
    const worst = ["failed", "unknown", "warning", "passed"];
    assert.deepEqual([seen.hosts, seen.rows], [hosts, hosts], where);
    assert.equal(seen.common > 0, name !== "one", where);
    assert.deepEqual([seen.changes > 3, seen.waived > 0], [set === "hosts", set === "hosts"], where);
    assert.deepEqual(seen.order, [...seen.order].sort((a, b) => worst.indexOf(a) - worst.indexOf(b)), where);
    // a link of the matrix unfolds its host
    await page.locator("tbody tr:last-child th a").first().click();
    assert(await page.locator(`#host-${hosts}`).isVisible(), where);
    if (name !== "many")
        await page.evaluate(() => document.querySelectorAll("details").forEach(details => { details.open = true; }));
    await page.evaluate(axe);
    const { violations } = await page.evaluate(() => window.axe.run());
    assert.deepEqual(violations.map(found => [found.id, found.nodes[0].html]), [], where);
    await context.close();
}

async function checkJUnit(page, name) {
    const text = fs.readFileSync(`${directory}/${name}.xml`, "utf8");
    const seen = await page.evaluate(xml => {
        const read = new DOMParser().parseFromString(xml, "application/xml");
        return { faulty: read.querySelectorAll("parsererror").length,
            suites: [...read.querySelectorAll("testsuites > testsuite")].map(suite => {
                const cases = [...suite.children], names = new Set(cases.map(one => one.getAttribute("name")));
                const count = element => suite.querySelectorAll(`testcase > ${element}`).length;
                return [[names.size, count("failure"), count("error"), count("skipped")].map(String),
                    ["tests", "failures", "errors", "skipped"].map(attribute => suite.getAttribute(attribute))];
            }) };
    }, text);
    assert.equal(seen.faulty, 0, name);
    assert(seen.suites.length > 1, name);
    for (const [counted, stated] of seen.suites)
        assert.deepEqual(counted, stated, name);
}

(async () => {
    const browser = await chromium.launch({ executablePath: "/usr/bin/chromium", args: options });
    for (const name of ["one", "plain", "hosts", "many"]) {
        for (const colorScheme of ["light", "dark"])
            await checkPage(browser, name, colorScheme, 1280);
        await checkJUnit(await browser.newPage(), name);
    }
    for (const colorScheme of ["light", "dark"])
        await checkPage(browser, "hosts", colorScheme, 400);
    for (const name of ["hosts-de", "hosts-ja"])
        for (const width of [400, 1280])
            await checkPage(browser, name, "light", width);
    if (picture) {
        const page = await browser.newPage({ viewport: { width: 1280, height: 1000 }, deviceScaleFactor: 1 });
        await page.goto(`file://${directory}/plain.html`);
        await page.screenshot({ path: picture });
    }
    await browser.close();
    console.log("14 passed, 0 failed");
})().catch(error => { console.error(error); process.exit(1); });
