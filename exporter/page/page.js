// SPDX-License-Identifier: Apache-2.0
// Texts of the cluster reach the document as text only (textContent, setAttribute), so a name is never markup.
"use strict";
(() => {
  const ROOMY_NODES = 60;
  const COMPACT_NODES = 300;
  const PIPS_MOST = 8; // in a tile; a node with more adapters shows a count
  const ATTENTION_MOST = 24;
  const SILENCE_MS = 2400; // the exporter sends a beat every 700 ms
  const MARKS = { up: "✓", partly: "!", down: "✕", unknown: "?" };
  const WORDS = { u: "up", d: "down", "?": "unknown" };
  const EVENTS = {
    "death": ["died", "bad", "✕"], "join": ["joined", "good", "✓"], "new-group": ["up now", "", "≡"],
    "ffdc": ["failure", "note", "!"], "site-split": ["site split", "bad", "✕"], "site-merge": ["site merge", "good", "✓"],
    "configuration": ["configuration", "", "⚙"], "different-instance": ["foreign message", "note", "!"],
    "heartbeat": ["heartbeat settings", "", "≡"], "connected": ["daemon connected", "good", "✓"],
    "disconnected": ["daemon disconnected", "bad", "✕"], "no-answer": ["no answer", "bad", "✕"],
    "answers-again": ["answers again", "good", "✓"],
  };
  const byId = (id) => document.getElementById(id);
  const make = (tag, className, text) => {
    const element = document.createElement(tag);
    if (className) element.className = className;
    if (text !== undefined) element.textContent = text;
    return element;
  };
  const setText = (element, text) => { if (element.textContent !== text) element.textContent = text; };

  let cluster = null;   // the configuration, with the elements that show it
  let state = null;     // the last message "state"
  let contact = null;   // when wispd last sent something, by the exporter's clock
  let clockOffset = 0;  // the exporter's clock minus this browser's
  let link = "waiting"; // "waiting", "open" or "lost": the connection to hb_exporter
  let linkLostSince = 0;
  let lastMessage = 0;
  let source = null;
  let current = 0;      // the node that Tab reaches
  let announced = "";
  let opened = -1;      // the node of the open dialog

  // ---- Words ----

  const two = (number) => String(number).padStart(2, "0");
  const clockText = (time) => {
    const date = new Date(time);
    return two(date.getHours()) + ":" + two(date.getMinutes()) + ":" + two(date.getSeconds());
  };
  const isToday = (time) => new Date(time).toDateString() === new Date(serverNow()).toDateString();
  const dayText = (time) => {
    const date = new Date(time);
    return date.getFullYear() + "-" + two(date.getMonth() + 1) + "-" + two(date.getDate());
  };
  const momentText = (time) => (isToday(time) ? "" : dayText(time) + " ") + clockText(time);
  const spanText = (ms, digits = 1) => {
    const seconds = Math.max(0, ms) / 1000;
    if (seconds < 10) return seconds.toFixed(digits) + " s";
    if (seconds < 120) return Math.floor(seconds) + " s";
    if (seconds < 7200) return Math.floor(seconds / 60) + " min";
    if (seconds < 172800) return Math.floor(seconds / 3600) + " h";
    return Math.floor(seconds / 86400) + " days";
  };
  const serverNow = () => Date.now() + clockOffset;
  const nameOf = (node) => node.name || "node " + node.number;
  const counted = (count, one, several) => count + " " + (count === 1 ? one : several);
  const networkLabel = (adapter) => adapter.network ? adapter.network.name || "network " + adapter.network.number : "no network";

  const sourceText = (number, node) => number < 0 ? "as the heartbeat daemon of this node reports it"
    : node && node.name ? "as wispd on " + node.name + " (node " + number + ") reports it"
    : "as wispd on node " + number + " reports it";

  // ---- The configuration ----

  function applyCluster(message) {
    const networks = message.networks.map(([number, name, type]) => ({ number, name, type, adapters: [] }));
    const networkBy = new Map(networks.map((network) => [network.number, network]));
    const nodes = message.nodes.map(([number, name], index) => ({ number, name, index, adapters: [], kind: "" }));
    const nodeBy = new Map(nodes.map((node) => [node.number, node]));
    const adapters = message.adapters.map(([number, node, network, type, address]) => {
      const adapter = { number, node: nodeBy.get(node), network: networkBy.get(network), type, address, letter: "" };
      if (adapter.node) adapter.node.adapters.push(adapter);
      if (adapter.network) adapter.network.adapters.push(adapter);
      return adapter;
    });
    const kept = cluster && cluster.nodes[current] ? cluster.nodes[current].number : -1;
    const hadFocus = byId("nodes").contains(document.activeElement);
    cluster = { title: message.cluster, nodes, networks, adapters };
    current = Math.max(0, nodes.findIndex((node) => node.number === kept));
    document.body.dataset.size =
      nodes.length <= ROOMY_NODES ? "roomy" : nodes.length <= COMPACT_NODES ? "compact" : "dense";
    setText(byId("cluster"), cluster.title || "Cluster");
    setText(byId("source"), sourceText(message.local, nodeBy.get(message.local)));
    buildNetworks();
    buildNodes();
    if (opened >= 0 && !nodeBy.has(opened)) byId("details").close();
    if (hadFocus && nodes.length > 0) nodes[current].button.focus();
  }

  function buildNetworks() {
    const list = byId("networks");
    list.replaceChildren();
    for (const network of cluster.networks) {
      const item = make("li", "network");
      const line = make("div", "line");
      line.append(make("span", "mark"), make("span", "label", network.name || "network " + network.number),
        make("span", "count"));
      const bar = make("progress");
      bar.max = Math.max(1, network.adapters.length);
      item.append(line, bar);
      list.append(item);
      network.item = item;
    }
    list.parentElement.hidden = cluster.networks.length === 0;
  }

  function buildNodes() {
    const roomy = document.body.dataset.size === "roomy";
    const rows = document.createDocumentFragment();
    for (const node of cluster.nodes) {
      const item = make("li");
      const button = make("button", "node");
      button.type = "button";
      button.tabIndex = node.index === current ? 0 : -1;
      button.dataset.node = node.number;
      const head = make("span", "head");
      node.mark = make("span", "mark", "?");
      head.append(node.mark, make("span", "name", nameOf(node)), make("span", "number", String(node.number)));
      node.word = make("span", "word");
      button.append(head, node.word);
      if (node.adapters.length > 0 && (roomy || node.adapters.length <= PIPS_MOST)) {
        const pips = make("span", "pips");
        for (const adapter of node.adapters) {
          adapter.pip = make("span", "pip");
          pips.append(adapter.pip);
        }
        button.append(pips);
      }
      node.button = button;
      node.haystack = (nameOf(node) + " " + node.number + " " +
        node.adapters.map((adapter) => adapter.address).join(" ")).toLowerCase();
      item.append(button);
      node.item = item;
      rows.append(item);
    }
    byId("nodes").replaceChildren(rows);
  }

  // ---- The states ----

  const isFresh = () => link === "open" && state !== null && state.up;

  function kindOf(node, letter) {
    if (letter === "d") return "down";
    if (letter !== "u") return "unknown";
    return node.adapters.some((adapter) => adapter.letter === "d") ? "partly" : "up";
  }

  function showStates() {
    if (!cluster || !state) return;
    const fresh = isFresh();
    const roomy = document.body.dataset.size === "roomy";
    const touched = new Set();
    cluster.adapters.forEach((adapter, at) => {
      const letter = fresh ? state.adapters[at] || "?" : "?";
      if (letter === adapter.letter) return;
      adapter.letter = letter;
      if (adapter.node) touched.add(adapter.node);
      if (adapter.pip) {
        adapter.pip.className = "pip " + WORDS[letter];
        if (roomy) setText(adapter.pip, MARKS[WORDS[letter]] + " " + networkLabel(adapter));
      }
    });
    cluster.nodes.forEach((node, at) => {
      const letter = fresh ? state.nodes[at] || "?" : "?";
      if (letter !== node.letter || touched.has(node)) showNode(node, letter);
    });
    showNetworks(fresh);
    showFacts(fresh);
    showEvents();
    showAttention(fresh);
    applyFilter();
    showDetails();
    announce(fresh);
  }

  function showNode(node, letter) {
    const before = node.kind;
    node.letter = letter;
    node.kind = kindOf(node, letter);
    const flash = before !== "" && before !== "unknown" && node.kind !== "unknown" && before !== node.kind;
    node.button.className = "node " + node.kind;
    if (flash) node.button.classList.add("changed");
    setText(node.mark, MARKS[node.kind]);
    const down = node.adapters.filter((adapter) => adapter.letter === "d");
    const word = node.kind === "partly"
      ? counted(down.length, "adapter", "adapters") + " down"
      : node.kind === "unknown" ? "state unknown" : node.kind;
    setText(node.word, word);
    const about = node.name ? node.name + ", node " + node.number : "node " + node.number;
    const adapters = node.adapters.slice(0, PIPS_MOST)
      .map((adapter) => networkLabel(adapter) + " " + WORDS[adapter.letter || "?"]).join(", ");
    node.button.setAttribute("aria-label", about + ": " + word + (adapters ? ". " + adapters : ""));
    node.button.title = nameOf(node) + ": " + word;
  }

  function showNetworks(fresh) {
    for (const network of cluster.networks) {
      const up = network.adapters.filter((adapter) => adapter.letter === "u").length;
      const all = network.adapters.length;
      const kind = !fresh ? "unknown" : up === all ? "up" : up === 0 ? "down" : "partly";
      network.item.className = "network " + kind;
      setText(network.item.querySelector(".mark"), MARKS[kind]);
      setText(network.item.querySelector(".count"), fresh ? up + " of " + all + " up" : "unknown");
      const bar = network.item.querySelector("progress");
      bar.value = fresh ? up : 0;
      bar.setAttribute("aria-label", (network.name || "network " + network.number) + ": " +
        (fresh ? up + " of " + all + " adapters up" : "unknown"));
    }
  }

  function fact(id, value, small, more, tone) {
    const box = byId(id);
    const line = box.querySelector(".value");
    if (line.dataset.text !== value + "|" + small) {
      line.dataset.text = value + "|" + small;
      line.textContent = small ? value + " " : value;
      if (small) line.append(make("small", "", small));
    }
    setText(box.querySelector(".more"), more);
    box.className = "fact " + (tone || "");
  }

  function tally(items) {
    const sum = { u: 0, d: 0, "?": 0 };
    for (const item of items) sum[item.letter || "?"] += 1;
    return sum;
  }

  function namesOf(nodes) {
    const shown = nodes.slice(0, 3).map(nameOf).join(", ");
    return nodes.length > 3 ? shown + " and " + (nodes.length - 3) + " more" : shown;
  }

  function showFacts(fresh) {
    const nodes = tally(cluster.nodes);
    const adapters = tally(cluster.adapters);
    const down = cluster.nodes.filter((node) => node.kind === "down");
    const partly = cluster.nodes.filter((node) => node.kind === "partly");
    if (fresh) {
      fact("fact-nodes", String(nodes.u), "of " + cluster.nodes.length + " up",
        down.length > 0 ? "down: " + namesOf(down) : "all up", down.length > 0 ? "bad" : "");
      fact("fact-adapters", String(adapters.u), "of " + cluster.adapters.length + " up",
        adapters.d > 0 ? adapters.d + " down" : "all up", partly.length > 0 ? "warn" : "");
    } else {
      fact("fact-nodes", "?", "of " + cluster.nodes.length, "states unknown");
      fact("fact-adapters", "?", "of " + cluster.adapters.length, "states unknown");
    }
    const wispd = fresh ? state.wispd : null;
    const engines = { none: "not used", connected: "connected", silent: "silent", disconnected: "disconnected" };
    const engine = wispd ? engines[wispd.engine] || wispd.engine || "unknown" : fresh ? "not reported" : "unknown";
    const tone = engine === "silent" || engine === "disconnected" ? "bad" : "";
    const engineMore = { none: "a file describes the cluster", connected: "it answers wispd",
      silent: "it does not answer wispd", disconnected: "wispd cannot reach it" };
    fact("fact-engine", engine, "", wispd ? engineMore[wispd.engine] || "" : fresh ? "no names file of wispd" : "no contact with wispd", tone);
    const faults = state.gaps + state.malformed;
    fact("fact-events", String(state.received), "",
      (faults === 0 ? "none missing" : state.gaps + " missing, " + state.malformed + " invalid") +
      (state.reconnects === 0 ? "" : ", " + counted(state.reconnects, "reconnection", "reconnections")),
      faults > 0 ? "warn" : "");
    const verdict = byId("verdict");
    const text = !fresh ? "Contact lost"
      : down.length > 0 ? counted(down.length, "node", "nodes") + " down"
      : partly.length > 0 ? "All nodes up, " + counted(adapters.d, "adapter", "adapters") + " down"
      : "All " + cluster.nodes.length + " nodes up";
    const kind = !fresh ? "lost-contact" : down.length > 0 ? "down" : partly.length > 0 ? "partly" : "up";
    verdict.className = "verdict " + kind;
    setText(verdict.querySelector(".mark"), MARKS[kind] || "?");
    setText(byId("verdict-text"), text);
    document.title = (MARKS[kind] || "?") + " " + text + " – " + (cluster.title || "cluster");
  }

  function showEvents() {
    const list = byId("events");
    if (state.events.length === 0) {
      list.replaceChildren(make("li", "empty", "No event so far"));
      return;
    }
    // The list of a restarted exporter begins again, so number and time together identify a line.
    const key = (event) => event.number + "@" + event.time;
    const wanted = state.events.map(key);
    if (list.dataset.first === wanted[0] && list.childElementCount === wanted.length) return;
    list.dataset.first = wanted[0];
    list.replaceChildren(...state.events.map((event) => {
      const [word, tone, mark] = EVENTS[event.event] || [event.event, "", "≡"];
      const item = make("li", tone);
      const time = make("time", "", clockText(event.time));
      time.dateTime = new Date(event.time).toISOString();
      time.title = dayText(event.time) + " " + clockText(event.time) + "." + String(event.time % 1000).padStart(3, "0");
      item.append(time, make("span", "kind", mark + " " + word), make("span", "what", event.what));
      if (event.failure) {
        const failure = make("code", "", event.failure);
        failure.title = "failure identifier: find it in the logs";
        item.append(failure);
      }
      return item;
    }));
  }

  function showAttention(fresh) {
    const list = byId("attention");
    const bad = fresh && document.body.dataset.size !== "roomy"
      ? cluster.nodes.filter((node) => node.kind === "down").concat(cluster.nodes.filter((node) => node.kind === "partly"))
      : [];
    list.hidden = bad.length === 0;
    const key = bad.map((node) => node.number + node.kind + node.name).join();
    if (list.dataset.key === key) return;
    list.dataset.key = key;
    list.replaceChildren(...bad.slice(0, ATTENTION_MOST).map((node) => {
      const item = make("li");
      const button = make("button", node.kind, MARKS[node.kind] + " " + nameOf(node) + " " + node.word.textContent);
      button.type = "button";
      button.addEventListener("click", () => openDetails(node));
      item.append(button);
      return item;
    }));
    if (bad.length > ATTENTION_MOST) list.append(make("li", "more quiet", "and " + (bad.length - ATTENTION_MOST) + " more"));
  }

  // One sentence for those who hear the page, when what it says has changed.
  function announce(fresh) {
    let text = "Contact lost. States are unknown.";
    if (fresh) {
      const down = cluster.nodes.filter((node) => node.kind === "down");
      text = down.length === 0 ? "All " + cluster.nodes.length + " nodes are up."
        : counted(down.length, "node is", "nodes are") + " down: " + namesOf(down) + ".";
    }
    if (text !== announced) {
      announced = text;
      byId("announcer").textContent = text;
    }
  }

  // ---- Contact ----

  function showContact() {
    const now = serverNow();
    const box = byId("lost");
    let title = "";
    let text = "";
    let since = 0;
    let contactState = "open";
    if (link === "lost") {
      contactState = "lost";
      title = "No connection to hb_exporter since " + momentText(linkLostSince) + ".";
      since = linkLostSince;
      text = "States are unknown. The page connects again by itself.";
    } else if (link === "waiting" || !state) {
      contactState = "waiting";
    } else if (!state.up) {
      contactState = "lost";
      title = contact === null ? "No contact with wispd so far."
        : "Contact with wispd lost since " + momentText(contact) + ".";
      since = contact || 0;
      text = "States are unknown until wispd answers. Check whether it runs on this node.";
    }
    document.body.dataset.contact = contactState;
    setText(byId("lost-title"), title);
    setText(byId("lost-text"), text);
    setText(byId("lost-age"), since > 0 ? "Lost for " + spanText(now - since) + "." : "");
    box.hidden = contactState !== "lost";
    if (!state) return;
    if (contactState === "open") {
      const wispd = state.wispd;
      fact("fact-daemon", "answers", "", wispd ? "wispd " + wispd.version + ", up " + spanText(now - wispd.started, 0) :
        "last contact " + spanText(now - contact) + " ago");
    } else {
      fact("fact-daemon", link === "lost" ? "unknown" : "no answer", "",
        contact === null ? "no contact so far" : "last contact " + spanText(now - contact) + " ago", "bad");
    }
  }

  function loseLink() {
    if (link === "lost") return;
    link = "lost";
    linkLostSince = serverNow() - (performance.now() - lastMessage);
    showStates();
    showContact();
    if (!cluster) {
      setText(byId("verdict-text"), "Contact lost");
      byId("verdict").className = "verdict lost-contact";
    }
  }

  function noteMessage(message) {
    link = "open";
    lastMessage = performance.now();
    if (message) {
      clockOffset = message.time - Date.now();
      contact = message.contact;
    }
  }

  function connect() {
    if (source) source.close();
    source = new EventSource("/events");
    lastMessage = performance.now();
    source.addEventListener("cluster", (event) => {
      applyCluster(JSON.parse(event.data));
    });
    source.addEventListener("state", (event) => {
      const message = JSON.parse(event.data);
      if (message.exporter !== document.documentElement.dataset.version) {
        location.reload(); // this page belongs to another version of hb_exporter
        return;
      }
      noteMessage(message);
      state = message;
      showStates();
      showContact();
    });
    source.addEventListener("beat", (event) => {
      const wasLost = link !== "open";
      noteMessage(JSON.parse(event.data));
      if (wasLost) showStates();
      showContact();
    });
    source.addEventListener("error", loseLink);
  }

  setInterval(() => {
    if (performance.now() - lastMessage > SILENCE_MS) {
      loseLink();
      connect(); // also when the browser has given up
    }
    showContact();
  }, 250);

  // ---- Finding, keys, details ----

  function applyFilter() {
    if (!cluster) return;
    const words = byId("search").value.trim().toLowerCase();
    const onlyProblems = byId("problems").checked;
    let shown = 0;
    for (const node of cluster.nodes) {
      const fits = (!words || node.haystack.includes(words)) &&
        (!onlyProblems || node.kind === "down" || node.kind === "partly");
      if (node.item.hidden === fits) node.item.hidden = !fits;
      shown += fits ? 1 : 0;
    }
    setText(byId("shown"), words || onlyProblems ? shown + " of " + cluster.nodes.length + " shown" : "");
    if (cluster.nodes[current] && cluster.nodes[current].item.hidden) {
      const first = cluster.nodes.find((node) => !node.item.hidden);
      if (first) moveTo(first, false);
    }
  }

  function moveTo(node, focus) {
    if (cluster.nodes[current]) cluster.nodes[current].button.tabIndex = -1;
    current = node.index;
    node.button.tabIndex = 0;
    if (focus) node.button.focus();
  }

  function columnsOf() {
    return getComputedStyle(byId("nodes")).gridTemplateColumns.split(" ").length;
  }

  byId("nodes").addEventListener("keydown", (event) => {
    const visible = cluster ? cluster.nodes.filter((node) => !node.item.hidden) : [];
    const at = visible.findIndex((node) => node.index === current);
    const steps = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: columnsOf(), ArrowUp: -columnsOf() };
    let to = -1;
    if (event.key in steps) to = at + steps[event.key];
    else if (event.key === "Home") to = 0;
    else if (event.key === "End") to = visible.length - 1;
    else return;
    event.preventDefault();
    if (visible[to]) moveTo(visible[to], true);
  });
  byId("nodes").addEventListener("click", (event) => {
    const button = event.target.closest("button.node");
    const node = button && cluster.nodes.find((candidate) => candidate.button === button);
    if (node) {
      moveTo(node, false);
      openDetails(node);
    }
  });
  byId("nodes").addEventListener("animationend", (event) => event.target.classList.remove("changed"));
  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || byId("details").open) return;
    const inText = document.activeElement === byId("search");
    if (event.key === "/" && !inText) {
      event.preventDefault();
      byId("search").focus();
    } else if (event.key === "p" && !inText) {
      byId("problems").click();
    } else if (event.key === "Escape" && inText) {
      byId("search").value = "";
      applyFilter();
    }
  });
  byId("search").addEventListener("input", applyFilter);
  byId("problems").addEventListener("change", applyFilter);

  function openDetails(node) {
    opened = node.number;
    showDetails();
    byId("details").showModal();
  }

  function showDetails() {
    const node = opened < 0 ? null : cluster.nodes.find((candidate) => candidate.number === opened);
    if (!node) return;
    setText(byId("details-title"), nameOf(node) + (node.name ? " (node " + node.number + ")" : ""));
    setText(byId("details-state"), MARKS[node.kind] + " " + node.word.textContent);
    byId("details-state").className = node.kind;
    byId("details-adapters").replaceChildren(...node.adapters.map((adapter) => {
      const row = make("tr");
      const word = WORDS[adapter.letter || "?"];
      row.append(make("td", word, MARKS[word] + " " + word), make("td", "", networkLabel(adapter)),
        make("td", "", adapter.address), make("td", "", adapter.type), make("td", "", String(adapter.number)));
      return row;
    }));
  }
  byId("details").addEventListener("close", () => { opened = -1; });

  connect();
})();
