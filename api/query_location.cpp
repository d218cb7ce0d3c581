// Where the device is, and the station on its WLAN.
#include "api/frame.h"
#include "api/query.h"

namespace {

using Location = tagGPS_LOCATION_INFO;
static_assert(offsetof(Location, item5) == 0 && offsetof(Location, item6) == 4 && offsetof(Location, item7) == 8 &&
              offsetof(Location, item8) == 16 && offsetof(Location, item9) == 24 && offsetof(Location, item10) == 32 &&
              offsetof(Location, item11) == 36 && offsetof(Location, item12) == 40 && alignof(Location) == 8);
static_assert(sizeof(Location::item12) == longest_value(7));

constexpr Field kLocationFields[] = {
    QUERY_FIELD(Location, item5, 5, Raw),   QUERY_FIELD(Location, item6, 6, Raw),
    QUERY_FIELD(Location, item7, 7, Raw),   QUERY_FIELD(Location, item8, 8, Raw),
    QUERY_FIELD(Location, item9, 9, Raw),   QUERY_FIELD(Location, item10, 10, Raw),
    QUERY_FIELD(Location, item11, 11, Raw), QUERY_FIELD(Location, item12, 12, Raw),
};
constexpr Query kLocation = query_of("vela_gps_get_gps_location", MODULE_GPS, 1, NullRecord::Named, VELA_ERROR_PARAM,
                                     sizeof(Location), kLocationFields);

using Station = WLAN_STATION_INFO_tag;
static_assert(offsetof(Station, item5) == 0 && offsetof(Station, item6) == 4 && offsetof(Station, item7) == 68 &&
              offsetof(Station, item8) == 72 && offsetof(Station, item9) == 76 && offsetof(Station, item10) == 93);
static_assert(sizeof(Station::item10) == longest_value(5));

constexpr Field kStationFields[] = {
    QUERY_FIELD(Station, item5, 5, Raw), QUERY_FIELD(Station, item6, 6, Raw), QUERY_FIELD(Station, item7, 7, Raw),
    QUERY_FIELD(Station, item8, 8, Raw), QUERY_FIELD(Station, item9, 9, Raw), QUERY_FIELD(Station, item10, 10, Raw),
};
// A null record has the code of a closed session, as promised.
constexpr Query kStation = query_of("vela_gps_get_wlan_station", MODULE_WLAN, 1, NullRecord::Named,
                                    VELA_ERROR_NO_SESSION, sizeof(Station), kStationFields);

} // namespace

std::uint32_t vela_gps_GetLocation(tagGPS_LOCATION_INFO* info) {
    return exported_query(__func__, [&] { return run(kLocation, info); });
}

std::uint32_t vela_wlan_GetStationInfo(WLAN_STATION_INFO_tag* info) {
    return exported_query(__func__, [&] { return run(kStation, info); });
}
