// Documents of answers are held against their schema.
#ifndef SCHEMA_H_
#define SCHEMA_H_

#include <nlohmann/json.hpp>

// At the end of the test program, and all at once: to start the validator takes a while.
void ExpectFitsSchema(const nlohmann::json& document);

#endif  // SCHEMA_H_
