# Half-hour statistics from `sonic-records --epoch`: all of them from sums and sums of products, which
# are rotated as a matrix.
BEGIN {
  print "start\trecords\tu\tv\tw\tts\tspeed\tdirection\tsd_u\tsd_v\tsd_w\tsd_ts\tuw\tvw\twt\tustar"
}
$8 == 0 && NR > 1 { x[1] = $3; x[2] = $4; x[3] = $5; x[4] = $7; add(int($1 / 1800) * 1800) }
END { for (i = 1; i <= starts; i++) row(start[i]) }

function add(h, i, j) {
  if (!n[h]++) start[++starts] = h
  for (i = 1; i <= 4; i++) {
    sum[h, i] += x[i]
    for (j = 1; j <= 4; j++) product[h, i, j] += x[i] * x[j]
  }
}

# Covariance of two axes, each a row of the rotation r.
function covariance(h, a, b, i, j, total) {
  total = 0
  for (i = 1; i <= 4; i++)
    for (j = 1; j <= 4; j++)
      total += r[a, i] * r[b, j] * (product[h, i, j] / n[h] - mean[i] * mean[j])
  return total
}

function row(h, i, level, speed, angle, uw, vw) {
  for (i = 1; i <= 4; i++) mean[i] = sum[h, i] / n[h]
  level = sqrt(mean[1] ^ 2 + mean[2] ^ 2)
  speed = sqrt(level ^ 2 + mean[3] ^ 2)
  split("", r)  # rows: along the mean wind, across, up, temperature
  r[1, 1] = mean[1] / speed; r[1, 2] = mean[2] / speed; r[1, 3] = mean[3] / speed
  r[2, 1] = -mean[2] / level; r[2, 2] = mean[1] / level
  r[3, 1] = -mean[1] / level * mean[3] / speed
  r[3, 2] = -mean[2] / level * mean[3] / speed
  r[3, 3] = level / speed
  r[4, 4] = 1
  angle = atan2(mean[1], mean[2]) * 180 / 3.14159265358979
  uw = covariance(h, 1, 3); vw = covariance(h, 2, 3)
  printf "%s\t%d\t%.4f\t%.4f\t%.4f\t%.4f\t%.4f\t%.2f\t", strftime("%Y-%m-%dT%H:%M:%SZ", h, 1), n[h],
    mean[1], mean[2], mean[3], mean[4], speed, angle < 0 ? angle + 360 : angle
  for (i = 1; i <= 4; i++) printf "%.4f\t", sqrt(covariance(h, i, i))
  printf "%.5f\t%.5f\t%.5f\t%.4f\n", uw, vw, covariance(h, 3, 4), (uw ^ 2 + vw ^ 2) ^ 0.25
}
