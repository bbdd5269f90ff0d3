// How the desktop's records read on the phone, and the only edits the phone makes to them.
//
// Every record is one document of the account database: {"_id": "{zone}/{recordName}",
// "type": "record", "zone", "recordName", "recordType", "fields": {...}, "fieldTypes": {...}}.
// A synced file is a "SyncedDocDocument" record; each of its lines is a "SyncedDocBlock" whose
// `documentRef` field names the file's record. The desktop owns every field but the few the
// phone answers with (see the edits at the end): the phone never writes another.
/* exported Records */
'use strict';

const Records = (() => {
  const BLOCK = 'SyncedDocBlock';
  const DOCUMENT = 'SyncedDocDocument';
  const PHASES = ['setup', 'collecting', 'matching', 'assembling', 'draft', 'sent', 'closed'];
  const KNOWN_ORIGINS = ['your bank', 'your mail', 'your photos', 'your answer'];

  const byPosition = (a, b) => (a.position < b.position ? -1 : a.position > b.position ? 1 : 0);

  // The zone's scope and collection folder: "SyncedDocs-b2-questions" is vault "b2", "questions".
  function collectionOf(zone, folder) {
    const tail = '-' + folder.replace(/\//g, '-');
    if (zone === 'SyncedDocs' + tail) return { scope: '' };
    if (zone.startsWith('SyncedDocs-') && zone.endsWith(tail)) {
      return { scope: zone.slice('SyncedDocs-'.length, zone.length - tail.length) };
    }
    return null;
  }

  function blockOf(doc) {
    const f = doc.fields || {};
    return Object.assign({}, f, {
      id: doc._id,
      zone: doc.zone,
      recordName: doc.recordName,
      position: typeof f.position === 'string' ? f.position : '',
      text: typeof f.text === 'string' ? f.text : '',
      hasClip: !!(doc._attachments && doc._attachments.audioAsset),
    });
  }

  // All documents of the database, sorted into files and their blocks.
  function index(docs) {
    const files = new Map(); // "{zone}/{recordName}" of a file record -> {path, zone, blocks}
    const blocks = [];
    for (const doc of docs) {
      if (!doc || doc.type !== 'record' || doc._deleted) continue;
      if (doc.recordType === DOCUMENT) {
        const key = doc.zone + '/' + doc.recordName;
        const file = files.get(key) || { blocks: [] };
        file.path = (doc.fields && doc.fields.relativePath) || doc.recordName.replace(/^doc-/, '');
        file.zone = doc.zone;
        files.set(key, file);
      } else if (doc.recordType === BLOCK) {
        blocks.push(blockOf(doc));
      }
    }
    for (const block of blocks) {
      const key = block.zone + '/' + (block.documentRef || '');
      if (!files.has(key)) {
        // A block can arrive before its file's record: its reference still names the path.
        files.set(key, { path: String(block.documentRef || '').replace(/^doc-/, ''), zone: block.zone, blocks: [] });
      }
      files.get(key).blocks.push(block);
    }
    for (const file of files.values()) file.blocks.sort(byPosition);
    return [...files.values()];
  }

  function parseActions(raw) {
    if (!raw) return [];
    let text = String(raw).trim();
    if (text.length >= 2 && text.startsWith('[') && text.endsWith(']')) text = text.slice(1, -1);
    const actions = [];
    for (const part of text.split('|')) {
      const piece = part.trim();
      if (!piece) continue;
      const arrow = piece.indexOf('=>');
      const label = arrow >= 0 ? piece.slice(0, arrow).trim() : piece;
      const answer = arrow >= 0 ? piece.slice(arrow + 2).trim() : piece;
      if (!label || !answer || actions.some((a) => a.label === label)) continue;
      actions.push({ label, answer });
      if (actions.length === 3) break;
    }
    return actions;
  }

  // What a card shows of where its answer stands.
  function cardState(block) {
    const status = block.questionStatus || 'open';
    if (status === 'open') return { kind: 'open' };
    if (status === 'dismissed') return { kind: 'closed', words: 'dismissed' };
    if (block.appliedAt) return { kind: 'applied', words: 'applied' };
    if (block.answeredBy === 'mac') return { kind: 'closed', words: 'answered on the desktop' };
    const voice = !(block.answer || '').trim() && (block.audioAssetRef || '');
    if (voice || block.transcriptionState) {
      if (block.transcriptionState === 'failed') {
        return { kind: 'failed', words: 'transcription failed — your desktop tries again shortly' };
      }
      const percent = Number.isInteger(block.transcriptionProgress) ? block.transcriptionProgress : null;
      return { kind: 'transcribing', words: 'transcribing …', percent, partial: block.transcriptionPartial || '' };
    }
    return { kind: 'sent', words: 'sent — waiting for your desktop' };
  }

  // The questions inbox of every vault: open cards newest first, then the others, latest first.
  function inbox(files) {
    const cards = [];
    for (const file of files) {
      const where = collectionOf(file.zone || '', 'questions');
      if (!where) continue;
      for (const block of file.blocks) {
        if (block.kind !== 'question' || !block.questionID) continue;
        cards.push(Object.assign({}, block, { scope: where.scope, state: cardState(block),
                                              actions: parseActions(block.suggestedActions) }));
      }
    }
    const done = cards.filter((c) => c.state.kind !== 'open');
    // Until the desktop has applied an answer its question is still open there, and the inbox
    // can carry a fresh open card beside the answered one: the person has answered it already.
    const answered = new Set(done.map((c) => c.scope + '|' + c.questionID));
    const open = cards.filter((c) => c.state.kind === 'open' && !answered.has(c.scope + '|' + c.questionID));
    open.sort((a, b) => String(b.askedAt || '').localeCompare(String(a.askedAt || '')) || byPosition(a, b));
    done.sort((a, b) => String(b.answeredAt || b.appliedAt || '').localeCompare(String(a.answeredAt || a.appliedAt || '')) || byPosition(a, b));
    return { open, done };
  }

  function progressText(d) {
    if (!Number.isInteger(d.countDone)) return '';
    return Number.isInteger(d.countTotal) ? `${d.countDone} of ${d.countTotal}` : `${d.countDone}`;
  }

  function shortDate(date) {
    const parts = String(date).split('-');
    return parts.length === 3 && parts[0].length === 4 ? parts[1] + '-' + parts[2] : String(date);
  }

  function stateLine(row) {
    if (row.state === 'working') return 'still looking';
    if (row.state === 'asking') return 'asking you';
    const origin = String(row.origin || '').trim().toLowerCase();
    return KNOWN_ORIGINS.includes(origin) ? origin : 'with a document';
  }

  function ledgerOf(file) {
    const rows = file.blocks
      .filter((b) => b.kind === 'ledgerRow' && b.ledgerDate && b.text)
      .map((b) => ({ date: b.ledgerDate, counterparty: b.text, origin: b.ledgerOrigin,
                     amount: b.ledgerAmount, state: b.ledgerState || 'working' }));
    for (const row of rows) row.stateLine = stateLine(row);
    const counts = { found: 0, working: 0, asking: 0 };
    for (const row of rows) if (row.state in counts) counts[row.state] += 1;
    counts.total = counts.found + counts.working + counts.asking;
    return { rows, counts };
  }

  function closeOf(file) {
    const head = file.blocks.find((b) => b.kind === 'closeStatus');
    if (!head || !head.period || !head.closePhase) return null;
    const deliverables = file.blocks
      .filter((b) => b.kind === 'deliverable' && b.deliverableLabel)
      .map((b) => ({ label: b.deliverableLabel, detail: b.deliverableDetail || '',
                     status: b.deliverableStatus || 'pending',
                     progress: progressText(b) }));
    return {
      period: head.period, business: head.business || '', phase: head.closePhase,
      phaseIndex: PHASES.indexOf(head.closePhase), activity: head.activity || '',
      blockedKind: head.blockedKind || '', blockedReason: head.blockedReason || '',
      answerableCount: Number.isInteger(head.answerableCount) ? head.answerableCount : 0,
      movedAt: head.movedAt || '', deliverables,
    };
  }

  // Each set of books' close status with its ledger, and the vaults' names.
  function closes(files) {
    const result = [];
    const names = new Map();
    const ledgers = new Map();
    for (const file of files) {
      const where = collectionOf(file.zone || '', 'status');
      if (!where) continue;
      const name = file.path.replace(/^status\//, '');
      if (name === 'vault.md') {
        const line = file.blocks.find((b) => b.text.trim());
        if (line) names.set(where.scope, line.text.trim());
      } else if (/^ledger(-.+)?\.md$/.test(name)) {
        ledgers.set(where.scope + '|' + name.slice('ledger'.length), ledgerOf(file));
      }
    }
    for (const file of files) {
      const where = collectionOf(file.zone || '', 'status');
      const name = file.path.replace(/^status\//, '');
      if (!where || !/^close(-.+)?\.md$/.test(name)) continue;
      const status = closeOf(file);
      if (!status) continue;
      const books = name.slice('close'.length);
      status.key = where.scope + '|' + books;
      status.vault = names.get(where.scope) || '';
      status.ledger = ledgers.get(where.scope + '|' + books) || { rows: [], counts: { found: 0, working: 0, asking: 0, total: 0 } };
      result.push(status);
    }
    result.sort((a, b) => a.key.localeCompare(b.key));
    return result;
  }

  // The list documents, each with its lines in order. A list that opens with a heading is
  // titled by it; any other by its file's name.
  function lists(files) {
    return files
      .filter((f) => collectionOf(f.zone || '', 'lists/active') && f.blocks.length)
      .map((f) => {
        const [first, ...rest] = f.blocks;
        if (first.kind === 'heading' && first.text.trim()) {
          return { path: f.path, title: first.text.trim(), blocks: rest };
        }
        const name = f.path.split('/').pop().replace(/\.[^.]+$/, '').replace(/[-_]+/g, ' ');
        return { path: f.path, title: name.charAt(0).toUpperCase() + name.slice(1), blocks: f.blocks };
      })
      .sort((a, b) => a.title.localeCompare(b.title));
  }

  // Whole seconds in UTC with "Z", as the desktop writes its times.
  function now() {
    return new Date().toISOString().replace(/\.\d{3}Z$/, 'Z');
  }

  function setField(doc, name, value, type) {
    doc.fields = Object.assign({}, doc.fields, { [name]: value });
    doc.fieldTypes = Object.assign({}, doc.fieldTypes, { [name]: type });
  }

  // The card answered in words. Only the answer's own fields change.
  function answerEdit(doc, answer, at) {
    const next = Object.assign({}, doc);
    setField(next, 'questionStatus', 'answered', 'string');
    setField(next, 'answer', answer, 'string');
    setField(next, 'answeredBy', 'phone', 'string');
    setField(next, 'answeredAt', at || now(), 'string');
    return next;
  }

  // The card answered with a recorded clip, attached as the record's `audioAsset`.
  function voiceEdit(doc, clipName, blob, at) {
    const next = Object.assign({}, doc);
    setField(next, 'questionStatus', 'answered', 'string');
    setField(next, 'audioAssetRef', clipName, 'string');
    setField(next, 'answeredBy', 'phone', 'string');
    setField(next, 'answeredAt', at || now(), 'string');
    next._attachments = Object.assign({}, doc._attachments,
                                      { audioAsset: { content_type: blob.type || 'audio/webm', data: blob } });
    return next;
  }

  // A list line ticked or unticked: only its `checked`.
  function tickEdit(doc, checked) {
    const next = Object.assign({}, doc);
    setField(next, 'checked', !!checked, 'boolean');
    return next;
  }

  return { index, inbox, closes, lists, cardState, parseActions, progressText, shortDate,
           stateLine, answerEdit, voiceEdit, tickEdit, now, PHASES };
})();
