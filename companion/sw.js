// Keeps the app's own files on the phone so it opens without a network. Each file is fetched
// from the record store when it can be (so a newly published app arrives at once) and served
// from the kept copy when it cannot. Requests for the data itself pass through: the app's
// database copy is what works offline.
'use strict';

const CACHE = 'companion-app';
const FILES = ['index.html', 'style.css', 'records.js', 'app.js', 'pouchdb.min.js',
               'manifest.webmanifest', 'icon.svg'];

self.addEventListener('install', (event) => {
  event.waitUntil(caches.open(CACHE).then((cache) => cache.addAll(FILES)).then(() => self.skipWaiting()));
});

self.addEventListener('activate', (event) => {
  event.waitUntil(self.clients.claim());
});

self.addEventListener('fetch', (event) => {
  const request = event.request;
  const scope = new URL(self.registration.scope);
  const url = new URL(request.url);
  if (request.method !== 'GET' || url.origin !== scope.origin || !url.pathname.startsWith(scope.pathname)) {
    return;
  }
  event.respondWith((async () => {
    const cache = await caches.open(CACHE);
    try {
      const response = await fetch(request);
      if (response.ok) await cache.put(request, response.clone());
      return response;
    } catch (err) {
      const kept = await cache.match(request, { ignoreSearch: true });
      if (kept) return kept;
      throw err;
    }
  })());
});
