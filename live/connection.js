'use strict';
// The connection to the broker that served this page. It connects again by itself, for ever.

// A device's own broker has these topics, a central one has them behind a device's name; the plus
// sign also stands for no name.
const TOPICS = '+/home/qelta/device/port/#';
const TOPIC = /^([^/]*)\/home\/qelta\/device\/port\/([^/]+)(?:\/(.*))?$/;

const RETRY_MILLISECONDS = 1000;
const KEEPALIVE_SECONDS = 4;  // a dead network is noticed after one and a half of it

/// Calls onMessage(device, number, subtopic, text, kept), where `kept` tells a message that the
/// broker had kept, and onOnline(true or false, reason) at each change.
function connectToBroker({onMessage, onOnline}) {
  const scheme = location.protocol === 'https:' ? 'wss' : 'ws';
  const client = mqtt.connect(`${scheme}://${location.host}/`, {
    reconnectPeriod: RETRY_MILLISECONDS,
    connectTimeout: 5000,
    keepalive: KEEPALIVE_SECONDS,
    resubscribe: false,
  });
  let reason = '';
  client.on('connect', () => {
    // A record that is lost on the way to a page is in the file: no need for more than once.
    client.subscribe(TOPICS, {qos: 0}, (error) => {
      reason = error ? error.message : '';
      onOnline(!error, reason);
    });
  });
  client.on('close', () => onOnline(false, reason));
  client.on('error', (error) => { reason = error.message; });
  client.on('message', (topic, payload, packet) => {
    const parts = TOPIC.exec(topic);
    if (parts) onMessage(parts[1], parts[2], parts[3] || '', payload.toString(), packet.retain);
  });
}
