-- sqlite3 fleet.db < import.sql: takes in the lines of fleet.jsonl, {"machine": NAME, "answer": DOCUMENT}.
CREATE TABLE IF NOT EXISTS fleet(line TEXT);
.mode ascii
.separator "\037" "\n"
.import fleet.jsonl fleet
