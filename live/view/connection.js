// The connection to the broker that served this page. It always connects again by itself.

import mqtt from 'mqtt';

// A logger's own broker has these topics, a central one has them after the logger's name; the plus
// sign also stands for no name.
const TOPICS = ['', '/fast', '/status'].map((end) => `+/home/qelta/device/port/+${end}`);
const TOPIC = /^([^/]*)\/home\/qelta\/device\/port\/([^/]+)(?:\/(.*))?$/;

const RETRY_MILLISECONDS = 1000;
const KEEPALIVE_SECONDS = 20;  // after one and a half of it the broker drops a page that is gone

/**
 * Calls onMessage(device, number, subtopic, text, retained), where `retained` marks a message that
 * the broker had from before the connection; onPacket() for everything that it sends; and
 * onOnline(true or false, reason) at each change. Returns {ask, drop}: one asks the broker for a
 * sign of life, the other gives the connection up for a new one.
 */
export function connectToBroker({onMessage, onPacket, onOnline}) {
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
  client.on('packetreceive', onPacket);
  client.on('message', (topic, payload, packet) => {
    const parts = TOPIC.exec(topic);
    if (parts) onMessage(parts[1], parts[2], parts[3] || '', payload.toString(), packet.retain);
  });
  return {ask: () => client.sendPing(), drop: () => client.stream.destroy()};
}
