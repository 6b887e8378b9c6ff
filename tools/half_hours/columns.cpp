#include "tools/half_hours/columns.h"

#include "tools/half_hours/decimal.h"

namespace sonic::records {

using S = Statistics;

const std::vector<StatisticsColumn> STATISTICS_COLUMNS = {
    {"records", &S::records, 0},
    {"expected", &S::expected, 0},
    {"percent", &S::percent, 2},
    {"faults", &S::faults, 0},
    {"gaps", &S::gaps, 0},
    {"spikes", &S::spikes, 0},
    {"u", &S::u, VELOCITY_DIGITS},
    {"v", &S::v, VELOCITY_DIGITS},
    {"w", &S::w, VELOCITY_DIGITS},
    {"sos", &S::sos, 4},
    {"ts", &S::ts, 4},
    {"speed", &S::speed, VELOCITY_DIGITS},
    {"speed_scalar", &S::speed_scalar, VELOCITY_DIGITS},
    {"direction", &S::direction, 2},
    {"sd_direction", &S::sd_direction, 2},
    {"gust", &S::gust, VELOCITY_DIGITS},
    {"cov_uu", &S::cov_uu, 6},
    {"cov_uv", &S::cov_uv, 6},
    {"cov_uw", &S::cov_uw, 6},
    {"cov_ut", &S::cov_ut, 6},
    {"cov_vv", &S::cov_vv, 6},
    {"cov_vw", &S::cov_vw, 6},
    {"cov_vt", &S::cov_vt, 6},
    {"cov_ww", &S::cov_ww, 6},
    {"cov_wt", &S::cov_wt, 6},
    {"cov_tt", &S::cov_tt, 6},
    {"sd_u", &S::sd_u, VELOCITY_DIGITS},
    {"sd_v", &S::sd_v, VELOCITY_DIGITS},
    {"sd_w", &S::sd_w, VELOCITY_DIGITS},
    {"sd_ts", &S::sd_ts, 4},
    {"uw", &S::uw, FLUX_DIGITS},
    {"vw", &S::vw, FLUX_DIGITS},
    {"wt", &S::wt, FLUX_DIGITS},
    {"ustar", &S::ustar, VELOCITY_DIGITS},
    {"tke", &S::tke, 4},
    {"skew_w", &S::skew_w, 3},
    {"kurt_w", &S::kurt_w, 3},
    {"skew_ts", &S::skew_ts, 3},
    {"kurt_ts", &S::kurt_ts, 3},
    {"steady_uw", &S::steady_uw, TEST_DIGITS},
    {"steady_wt", &S::steady_wt, TEST_DIGITS},
    {"itc_u", &S::itc_u, TEST_DIGITS},
    {"itc_w", &S::itc_w, TEST_DIGITS},
    {"flag_uw", &S::flag_uw, 0},
    {"flag_wt", &S::flag_wt, 0},
    {"L", &S::obukhov_length, 2},
    {"zL", &S::stability, 4},
};

const std::vector<StatisticsColumn> AMERIFLUX_COLUMNS = {
    {"WS", &S::speed_scalar, VELOCITY_DIGITS},
    {"WS_MAX", &S::gust, VELOCITY_DIGITS},
    {"WD", &S::direction, 2},
    {"WD_SIGMA", &S::sd_direction, 2},
    {"USTAR", &S::ustar, VELOCITY_DIGITS},
    {"U_SIGMA", &S::sd_u, VELOCITY_DIGITS},
    {"V_SIGMA", &S::sd_v, VELOCITY_DIGITS},
    {"W_SIGMA", &S::sd_w, VELOCITY_DIGITS},
    {"T_SONIC", &S::ts, 4},
    {"T_SONIC_SIGMA", &S::sd_ts, 4},
    {"TAU", &S::tau, FLUX_DIGITS},
    {"MO_LENGTH", &S::obukhov_length, 2},
    {"ZL", &S::stability, 4},
};

}  // namespace sonic::records
