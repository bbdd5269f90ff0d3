// The companion: a copy of the account database on the phone, kept in step with the record store
// both ways, and three views of it. Everything the person does is written to the local copy
// first, so it works without a network and goes out when the store can be reached again.
/* global PouchDB, Records */
'use strict';

(() => {
  const here = new URL(location.href);
  const designAt = here.pathname.indexOf('/_design/');
  const remoteUrl = here.origin + (designAt > 0 ? here.pathname.slice(0, designAt) : '/companion');
  const credentialsKey = 'companion.account:' + remoteUrl;
  const local = new PouchDB('companion-' + encodeURIComponent(remoteUrl));
  const $ = (id) => document.getElementById(id);
  const ui = { view: 'inbox', recording: null, drafts: new Map(), busy: new Set() };
  let sync = null;
  let files = [];

  // ---- Sync ---------------------------------------------------------------------------------

  function remoteDb() {
    const saved = JSON.parse(localStorage.getItem(credentialsKey) || 'null');
    return new PouchDB(remoteUrl, saved ? { auth: { username: saved.user, password: saved.password } } : {});
  }

  const OFFLINE = 'Offline — your changes go out when you are back online';

  function setSyncWords(words, tone) {
    const line = $('sync');
    line.textContent = words;
    line.dataset.tone = tone || '';
  }

  function startSync() {
    if (sync) sync.cancel();
    const remote = remoteDb();
    sync = local.sync(remote, {
      live: true,
      retry: true,
      // Short waits: a phone back on the network should not sit out a long back-off.
      back_off_function: (delay) => (delay === 0 ? 500 : Math.min(delay * 2, 4000)),
    });
    sync.on('paused', (err) => {
      if (!navigator.onLine) setSyncWords(OFFLINE, 'warn');
      else if (err) setSyncWords('Cannot reach your record store — retrying', 'warn');
      else setSyncWords('Up to date', 'ok');
    });
    sync.on('active', () => setSyncWords('Syncing…', ''));
    sync.on('denied', () => setSyncWords('The record store refused a change', 'warn'));
    sync.on('error', (err) => {
      if (err && (err.status === 401 || err.status === 403)) showSignIn('');
      else setSyncWords('Sync stopped: ' + ((err && err.message) || 'unknown error'), 'warn');
    });
    sync.on('change', () => render());
  }

  async function connect() {
    try {
      await remoteDb().info();
      $('signin').hidden = true;
    } catch (err) {
      if (err && (err.status === 401 || err.status === 403)) {
        showSignIn('');
        return;
      }
      // Unreachable: the local copy serves until it comes back.
      setSyncWords(navigator.onLine ? 'Cannot reach your record store — retrying' : OFFLINE, 'warn');
    }
    startSync();
  }

  function showSignIn(error) {
    $('signin').hidden = false;
    $('signin-error').textContent = error;
    setSyncWords('Signed out', 'warn');
  }

  $('signin-form').addEventListener('submit', async (event) => {
    event.preventDefault();
    const form = new FormData(event.target);
    const account = { user: String(form.get('user')).trim(), password: String(form.get('password')) };
    try {
      await new PouchDB(remoteUrl, { auth: { username: account.user, password: account.password } }).info();
      localStorage.setItem(credentialsKey, JSON.stringify(account));
      $('signin').hidden = true;
      startSync();
    } catch (err) {
      $('signin-error').textContent = err && err.status === 401
        ? 'That user name and password were not accepted.'
        : 'The record store could not be reached. Try again when you are online.';
    }
  });

  window.addEventListener('online', () => startSync());
  window.addEventListener('offline', () => setSyncWords(OFFLINE, 'warn'));

  // ---- Rendering ----------------------------------------------------------------------------

  function el(tag, attrs, ...children) {
    const node = document.createElement(tag);
    for (const [key, value] of Object.entries(attrs || {})) {
      if (value === undefined || value === null || value === false) continue;
      if (key.startsWith('on')) node.addEventListener(key.slice(2), value);
      else if (key === 'class') node.className = value;
      else node.setAttribute(key, value === true ? '' : value);
    }
    for (const child of children.flat()) {
      if (child !== null && child !== undefined && child !== false) node.append(child);
    }
    return node;
  }

  let renderQueued = false;
  function render() {
    if (renderQueued) return;
    renderQueued = true;
    queueMicrotask(async () => {
      renderQueued = false;
      const all = await local.allDocs({ include_docs: true });
      files = Records.index(all.rows.map((r) => r.doc));
      draw();
    });
  }

  function draw() {
    const inbox = Records.inbox(files);
    const badge = $('badge');
    badge.hidden = inbox.open.length === 0;
    badge.textContent = String(inbox.open.length);
    // Keep what is being typed: a redraw must never take a half-written answer away.
    const focused = document.activeElement && document.activeElement.dataset.draft;
    replace($('view-inbox'), drawInbox(inbox));
    replace($('view-close'), drawCloses(Records.closes(files)));
    replace($('view-lists'), drawLists(Records.lists(files)));
    if (focused) {
      const field = document.querySelector(`[data-draft="${CSS.escape(focused)}"]`);
      if (field) { field.focus(); field.setSelectionRange(field.value.length, field.value.length); }
    }
  }

  function replace(node, children) {
    node.replaceChildren(...[].concat(children));
  }

  function empty(title, words) {
    return el('div', { class: 'empty' }, el('p', { class: 'empty-title' }, title), el('p', {}, words));
  }

  function drawInbox(inbox) {
    if (!inbox.open.length && !inbox.done.length) {
      return empty('No questions', 'When your desktop needs you, its questions show up here.');
    }
    const parts = [];
    if (inbox.open.length) {
      parts.push(el('h2', { class: 'section' }, 'Waiting for you'), ...inbox.open.map(drawCard));
    } else {
      parts.push(empty('All answered', 'Nothing is waiting for you right now.'));
    }
    if (inbox.done.length) {
      parts.push(el('h2', { class: 'section' }, 'Answered'), ...inbox.done.map(drawCard));
    }
    return parts;
  }

  function when(iso) {
    const date = new Date(iso);
    if (!iso || isNaN(date)) return '';
    return date.toLocaleDateString(undefined, { day: 'numeric', month: 'short' });
  }

  function drawCard(card) {
    const meta = [card.askedBy, card.period, when(card.askedAt)].filter(Boolean).join(' · ');
    const body = [el('p', { class: 'question' }, card.text)];
    if (meta) body.unshift(el('p', { class: 'meta' }, meta));
    if (card.state.kind === 'open') {
      body.push(drawAnswering(card));
    } else {
      if ((card.answer || '').trim()) body.push(el('p', { class: 'answer' }, card.answer));
      body.push(drawState(card.state));
    }
    return el('article', { class: 'card ' + card.state.kind, 'data-question': card.questionID }, body);
  }

  function drawState(state) {
    const parts = [el('span', { class: 'state-words' }, state.words)];
    if (state.kind === 'transcribing') {
      const bar = el('progress', { max: '100', 'aria-label': 'Transcription progress' });
      if (state.percent !== null) bar.value = state.percent;
      parts.push(bar);
      if (state.percent !== null) parts.push(el('span', { class: 'percent' }, state.percent + '%'));
      if (state.partial) parts.push(el('p', { class: 'partial' }, '“' + state.partial + '”'));
    }
    return el('div', { class: 'state ' + state.kind, role: 'status' }, parts);
  }

  function drawAnswering(card) {
    const busy = ui.busy.has(card.id);
    const actions = card.actions.map((action) =>
      el('button', { class: 'choice', disabled: busy, onclick: () => answer(card, action.answer) }, action.label));
    const draft = ui.drafts.get(card.id) || '';
    const field = el('textarea', { rows: '2', placeholder: 'Type an answer', 'aria-label': 'Your answer',
                                   'data-draft': card.id, disabled: busy,
                                   oninput: (e) => ui.drafts.set(card.id, e.target.value) });
    field.value = draft;
    const recording = ui.recording && ui.recording.cardId === card.id;
    return el('div', { class: 'answering' },
      actions.length ? el('div', { class: 'choices' }, actions) : null,
      field,
      el('div', { class: 'row' },
        el('button', { class: 'primary', disabled: busy,
                       onclick: () => { const text = (ui.drafts.get(card.id) || '').trim(); if (text) answer(card, text); } }, 'Send'),
        el('button', { class: 'voice' + (recording ? ' recording' : ''), disabled: busy || (ui.recording && !recording),
                       'aria-pressed': recording ? 'true' : 'false',
                       onclick: () => (recording ? stopRecording() : startRecording(card)) },
           recording ? `Stop and send (${clock(ui.recording.seconds)})` : 'Record')),
      el('p', { class: 'error', role: 'alert' }, ui.errorFor === card.id ? ui.error : ''));
  }

  const PHASE_WORDS = { setup: 'Setting up', collecting: 'Collecting', matching: 'Matching', assembling: 'Assembling',
                        draft: 'Draft ready', sent: 'Sent to accountant', closed: 'Closed' };
  const BLOCKED_WORDS = { needsAnswer: 'Waiting for your answer', needsMac: 'Needs you at your desktop',
                          waitingExternal: 'Waiting on someone else' };
  const DELIVERABLE_WORDS = { pending: 'to do', partial: 'under way', done: 'done' };

  function drawCloses(closes) {
    if (!closes.length) return empty('No close under way', 'When a period close starts on your desktop, it shows up here.');
    return closes.map((c) => {
      const title = (c.business || c.vault || 'Close') + ' · ' + c.period;
      const steps = Records.PHASES.map((p, i) =>
        el('li', { class: i < c.phaseIndex ? 'past' : i === c.phaseIndex ? 'now' : '', title: PHASE_WORDS[p] }));
      const parts = [
        el('h2', { class: 'close-title' }, title),
        el('p', { class: 'phase' }, PHASE_WORDS[c.phase] || c.phase),
        el('ol', { class: 'steps', 'aria-label': 'Phase ' + (c.phaseIndex + 1) + ' of ' + Records.PHASES.length }, steps),
      ];
      if (c.activity) parts.push(el('p', { class: 'activity' }, c.activity));
      if (c.blockedKind) {
        parts.push(el('div', { class: 'blocked ' + c.blockedKind, role: 'note' },
          el('p', { class: 'blocked-kind' }, BLOCKED_WORDS[c.blockedKind] || c.blockedKind),
          c.blockedReason ? el('p', {}, c.blockedReason) : null,
          c.answerableCount > 1 ? el('p', { class: 'meta' }, c.answerableCount + ' questions for you in the inbox') : null));
      }
      if (c.deliverables.length) {
        parts.push(el('h3', { class: 'section' }, 'Deliverables'),
          el('ul', { class: 'deliverables' }, c.deliverables.map((d) =>
            el('li', { class: d.status },
              el('span', { class: 'dot', 'aria-hidden': 'true' }),
              el('span', { class: 'label' }, d.label, d.detail ? el('small', {}, d.detail) : null),
              el('span', { class: 'count' }, d.progress || DELIVERABLE_WORDS[d.status] || d.status)))));
      }
      parts.push(drawLedger(c.ledger));
      return el('article', { class: 'close', 'data-close': c.key }, parts);
    });
  }

  function drawLedger(ledger) {
    const { rows, counts } = ledger;
    if (!rows.length) return el('p', { class: 'meta' }, 'No transactions gathered yet.');
    return el('div', { class: 'ledger' },
      el('h3', { class: 'section' }, 'Ledger'),
      el('p', { class: 'counts' },
        counts.found ? el('span', { class: 'found' }, counts.found + ' with a document') : null,
        counts.working ? el('span', { class: 'working' }, counts.working + ' still looking') : null,
        counts.asking ? el('span', { class: 'asking' }, counts.asking + ' asking') : null),
      el('ul', { class: 'rows' }, rows.map((r) =>
        el('li', { class: r.state },
          el('span', { class: 'date' }, Records.shortDate(r.date)),
          el('span', { class: 'who' }, r.counterparty, el('small', {}, r.stateLine)),
          el('span', { class: 'amount' }, r.amount || '')))));
  }

  function drawLists(lists) {
    if (!lists.length) return empty('No lists', 'Lists you keep on your desktop show up here to tick off.');
    return lists.map((list) => el('article', { class: 'list' },
      el('h2', { class: 'list-title' }, list.title),
      el('ul', { class: 'lines' }, list.blocks.map(drawLine))));
  }

  function drawLine(block) {
    const indent = { style: `--level:${Number.isInteger(block.level) ? block.level : 0}` };
    if (block.kind === 'heading') return el('li', { class: 'heading' }, block.text);
    if (block.kind === 'item' && typeof block.checked === 'boolean') {
      const box = el('input', { type: 'checkbox', checked: block.checked, onchange: (e) => tick(block, e.target.checked) });
      return el('li', Object.assign({ class: 'item' + (block.checked ? ' done' : '') }, indent),
        el('label', {}, box, el('span', {}, block.text)));
    }
    return el('li', Object.assign({ class: block.kind === 'item' ? 'bullet' : 'text' }, indent), block.text);
  }

  // ---- Edits --------------------------------------------------------------------------------

  async function edit(id, change) {
    // Always from the latest local revision, so a change the desktop made meanwhile is kept.
    for (let attempt = 0; attempt < 3; attempt += 1) {
      const doc = await local.get(id);
      try {
        await local.put(change(doc));
        return;
      } catch (err) {
        if (!err || err.status !== 409) throw err;
      }
    }
    throw new Error('The record kept changing; try again.');
  }

  async function answer(card, text) {
    ui.busy.add(card.id);
    draw();
    try {
      await edit(card.id, (doc) => Records.answerEdit(doc, text));
      ui.drafts.delete(card.id);
    } catch (err) {
      ui.errorFor = card.id;
      ui.error = 'Your answer was not saved: ' + err.message;
    } finally {
      ui.busy.delete(card.id);
      render();
    }
  }

  async function tick(block, checked) {
    try {
      await edit(block.id, (doc) => Records.tickEdit(doc, checked));
    } finally {
      render();
    }
  }

  function clipType() {
    for (const type of ['audio/webm;codecs=opus', 'audio/ogg;codecs=opus', 'audio/mp4', 'audio/webm']) {
      if (window.MediaRecorder && MediaRecorder.isTypeSupported(type)) return type;
    }
    return '';
  }

  async function startRecording(card) {
    ui.errorFor = card.id;
    ui.error = '';
    try {
      const stream = await navigator.mediaDevices.getUserMedia({ audio: true });
      const type = clipType();
      const recorder = new MediaRecorder(stream, type ? { mimeType: type } : {});
      const chunks = [];
      recorder.ondataavailable = (e) => { if (e.data && e.data.size) chunks.push(e.data); };
      recorder.onstop = () => {
        stream.getTracks().forEach((t) => t.stop());
        const blob = new Blob(chunks, { type: (recorder.mimeType || type || 'audio/webm').split(';')[0] });
        clearInterval(ui.recording.timer);
        ui.recording = null;
        sendClip(card, blob);
      };
      ui.recording = { cardId: card.id, recorder, seconds: 0 };
      // The elapsed time on the button tells the person the microphone is really taking it.
      ui.recording.timer = setInterval(() => { ui.recording.seconds += 1; draw(); }, 1000);
      recorder.start(250);
    } catch (err) {
      ui.error = 'The microphone could not be used: ' + (err.message || err.name);
    }
    draw();
  }

  function clock(seconds) {
    return Math.floor(seconds / 60) + ':' + String(seconds % 60).padStart(2, '0');
  }

  function stopRecording() {
    if (ui.recording) ui.recording.recorder.stop();
  }

  async function sendClip(card, blob) {
    if (!blob.size) {
      ui.errorFor = card.id;
      ui.error = 'Nothing was recorded. Try again and speak after you tap Record.';
      draw();
      return;
    }
    const extension = { 'audio/ogg': 'ogg', 'audio/mp4': 'm4a' }[blob.type] || 'webm';
    const clip = `${card.questionID}-${Date.now()}.${extension}`;
    ui.busy.add(card.id);
    try {
      await edit(card.id, (doc) => Records.voiceEdit(doc, clip, blob));
    } catch (err) {
      ui.errorFor = card.id;
      ui.error = 'Your recording was not saved: ' + err.message;
    } finally {
      ui.busy.delete(card.id);
      render();
    }
  }

  // ---- Navigation and start ---------------------------------------------------------------

  for (const tab of document.querySelectorAll('[role=tab]')) {
    tab.addEventListener('click', () => {
      ui.view = tab.dataset.view;
      for (const other of document.querySelectorAll('[role=tab]')) {
        other.setAttribute('aria-selected', other === tab ? 'true' : 'false');
        $('view-' + other.dataset.view).hidden = other !== tab;
      }
      window.scrollTo(0, 0);
    });
  }

  if ('serviceWorker' in navigator) {
    navigator.serviceWorker.register('sw.js').catch(() => {
      // Without a worker (plain http away from this machine) the app still runs while online.
    });
  }

  local.changes({ since: 'now', live: true }).on('change', render);
  render();
  connect();
})();
