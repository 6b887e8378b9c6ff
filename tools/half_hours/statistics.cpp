#include "tools/half_hours/statistics.h"

#include <algorithm>
#include <optional>

#include "base/time.h"
#include "tools/half_hours/spikes.h"
#include "tools/half_hours/wind.h"

namespace sonic::records {

namespace {

constexpr double MIN_PERCENT = 90;  // of the expected records, for a flag of 0 or 1

// How many records the rate makes in the period. Where it changes, each rate counts until the
// first record with the next one.
double expected_records(const std::vector<Sample>& samples, uint64_t start, uint64_t end) {
  double expected = 0;
  uint64_t since = start;
  for (size_t i = 0; i < samples.size(); ++i) {
    if (samples[i].rate == 0) return NAN;
    const bool is_last = i + 1 == samples.size();
    if (!is_last && samples[i + 1].rate == samples[i].rate) continue;
    const uint64_t until = is_last ? end : samples[i + 1].time;
    expected += static_cast<double>(until - since) / NANOSECONDS_PER_SECOND * samples[i].rate;
    since = until;
  }
  return std::round(expected);
}

// How often there is no record for more than five intervals, from the period's start to its end.
size_t count_gaps(const std::vector<Sample>& samples, uint64_t start, uint64_t end) {
  size_t gaps = 0;
  uint64_t before = start;
  const auto step_to = [&](uint64_t time, uint64_t rate) {
    const uint64_t longest =
        GAP_INTERVALS * NANOSECONDS_PER_SECOND / (rate ? rate : FALLBACK_RATE_HZ);
    if (time - before > longest) ++gaps;
    before = time;
  };
  for (const Sample& sample : samples) step_to(sample.time, sample.rate);
  step_to(end, samples.back().rate);
  return gaps;
}

void append(Series& series, uint64_t time, uint16_t rate, const Values& values) {
  series.time.push_back(time);
  series.rate.push_back(rate);
  for (size_t a = 0; a < QUANTITIES; ++a) series.values[a].push_back(values[a]);
}

void reserve(Series& series, size_t records) {
  series.time.reserve(records);
  series.rate.reserve(records);
  for (auto& column : series.values) column.reserve(records);
}

Series without_faults(const std::vector<Sample>& samples) {
  Series series;
  reserve(series, samples.size());
  for (const Sample& sample : samples) {
    if (sample.diag == 0) append(series, sample.time, sample.rate, sample.values);
  }
  return series;
}

Series without_spikes(const Series& all, const std::vector<bool>& is_spike) {
  Series series;
  reserve(series, all.size());
  for (size_t i = 0; i < all.size(); ++i) {
    if (is_spike[i]) continue;
    Values values;
    for (size_t a = 0; a < QUANTITIES; ++a) values[a] = all.values[a][i];
    append(series, all.time[i], all.rate[i], values);
  }
  return series;
}

// Nothing where no plane fits the direction.
std::optional<Rotation> rotation_for(const StatisticsOptions& options, const Vector& wind,
                                     double direction) {
  switch (options.rotation) {
    case RotationMethod::NONE:
      return NO_ROTATION;
    case RotationMethod::DOUBLE:
      return double_rotation(wind);
    case RotationMethod::PLANAR:
      break;
  }
  const auto plane = std::find_if(options.planes.begin(), options.planes.end(),
                                  [&](const Plane& p) { return is_in_sector(p, direction); });
  if (plane == options.planes.end()) return {};
  return planar_rotation(*plane, wind);
}

void describe(Statistics& row, const Series& series, const Moments& moments) {
  row.u = moments.mean[U];
  row.v = moments.mean[V];
  row.w = moments.mean[W];
  row.sos = moments.mean[SOS];
  row.ts = moments.mean[TS];
  row.speed = std::sqrt(row.u * row.u + row.v * row.v + row.w * row.w);
  row.direction = direction_of(row.u, row.v);
  if (row.direction > 359.995 - 1e-9) row.direction = 0;  // which would be printed as 360
  const HorizontalWind wind = horizontal_wind_of(series);
  row.speed_scalar = wind.mean_speed;
  row.sd_direction = wind.direction_deviation;
  row.gust = wind.gust;

  const CovarianceMatrix& c = moments.covariance;
  row.cov_uu = c[U][U], row.cov_uv = c[U][V], row.cov_uw = c[U][W], row.cov_ut = c[U][TS];
  row.cov_vv = c[V][V], row.cov_vw = c[V][W], row.cov_vt = c[V][TS];
  row.cov_ww = c[W][W], row.cov_wt = c[W][TS];
  row.cov_tt = c[TS][TS];
}

// All that depends on the axes.
void describe_turbulence(Statistics& row, const Series& series, const Moments& moments,
                         const Rotation& rotation, const StatisticsOptions& options) {
  const CovarianceMatrix c = rotated(moments.covariance, rotation);
  // A variance of zero may become negative by its last bit.
  const auto deviation = [&](Quantity a) { return std::sqrt(std::max(c[a][a], 0.0)); };
  row.sd_u = deviation(U), row.sd_v = deviation(V), row.sd_w = deviation(W);
  row.sd_ts = deviation(TS);
  row.uw = c[U][W], row.vw = c[V][W], row.wt = c[W][TS];
  row.tke = (c[U][U] + c[V][V] + c[W][W]) / 2;
  const Vector& up = rotation[W];
  const Shape shape_w = shape_of(series, moments, {up[U], up[V], up[W], 0});
  const Shape shape_ts = shape_of(series, moments, {0, 0, 0, 1});
  row.skew_w = shape_w.skewness, row.kurt_w = shape_w.kurtosis;
  row.skew_ts = shape_ts.skewness, row.kurt_ts = shape_ts.kurtosis;

  const Turbulence turbulence = turbulence_of(c, row.ts, options.site);
  row.ustar = turbulence.friction_velocity;
  row.itc_u = turbulence.deviation_u, row.itc_w = turbulence.deviation_w;
  row.obukhov_length = turbulence.obukhov_length, row.stability = turbulence.stability;
  row.tau = turbulence.stress;

  const Stationarity stationarity(series, row.start, options.period);
  row.steady_uw = stationarity.percent(c, rotation, U, W);
  row.steady_wt = stationarity.percent(c, rotation, W, TS);
  row.flag_uw = row.flag_wt = 2;
  if (!(row.percent >= MIN_PERCENT)) return;
  if (std::isnan(options.site.height)) {
    row.flag_uw = flag_of({row.steady_uw});
    row.flag_wt = flag_of({row.steady_wt});
  } else {
    row.flag_uw = flag_of({row.steady_uw, row.itc_u, row.itc_w});
    row.flag_wt = flag_of({row.steady_wt, row.itc_w});
  }
}

}  // namespace

Statistics statistics_of(std::vector<Sample>& samples, uint64_t start,
                         const StatisticsOptions& options) {
  Statistics row;
  row.start = start;
  // Of all values, since an archive does not know the order of arrival of records with one stamp.
  if (!std::is_sorted(samples.begin(), samples.end())) std::sort(samples.begin(), samples.end());
  put_in_order(samples);
  if (samples.empty()) return row;
  const uint64_t end = start + options.period;
  row.expected = expected_records(samples, start, end);
  row.gaps = static_cast<double>(count_gaps(samples, start, end));

  Series series = without_faults(samples);
  row.faults = static_cast<double>(samples.size() - series.size());
  const std::vector<bool> is_spike = find_spikes(series);
  const auto spikes = std::count(is_spike.begin(), is_spike.end(), true);
  row.spikes = static_cast<double>(spikes);
  if (options.despike && spikes != 0) series = without_spikes(series, is_spike);
  row.records = static_cast<double>(series.size());
  row.percent = row.records / row.expected * 100;
  if (series.size() == 0) return row;

  const Moments moments = moments_of(series, 0, series.size());
  describe(row, series, moments);
  const auto rotation = rotation_for(options, moments.wind(), row.direction);
  if (rotation) describe_turbulence(row, series, moments, *rotation, options);
  return row;
}

}  // namespace sonic::records
