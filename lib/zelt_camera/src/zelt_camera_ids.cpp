#include "zelt_camera_ids.h"

#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cstring>

namespace zelt_camera {

tsa::Uuid parse_uuid(const char* text) {
    const boost::uuids::uuid parsed = boost::uuids::string_generator()(text);
    tsa::Uuid id;
    static_assert(sizeof id.data == boost::uuids::uuid::static_size());
    std::memcpy(id.data, parsed.data, sizeof id.data);
    return id;
}

std::string uuid_to_string(const tsa::Uuid& id) {
    boost::uuids::uuid value;
    std::memcpy(value.data, id.data, sizeof id.data);
    return boost::uuids::to_string(value);
}

}  // namespace zelt_camera
