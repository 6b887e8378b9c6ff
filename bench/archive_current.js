// A current ClickHouse in this process: archive_current.js SCHEMA RECORDS QUERY... makes the tables,
// loads the records, and writes each query's answer beside it, as QUERY.answer.
const fs = require("fs");
const { Session } = require("chdb");

const [schema, records, ...queries] = process.argv.slice(2);
const session = new Session();
const columns = "station String, seconds UInt64, nanoseconds UInt32, " +
  "u String, v String, w String, sos String, ts String, diag String";

const withoutComments = (sql) => sql.replace(/--.*$/gm, "");
for (const statement of withoutComments(fs.readFileSync(schema, "utf8")).split(";")) {
  if (statement.trim()) session.query(statement);
}
for (let i = 0; i < 2; ++i) {  // twice, which must not show
  session.query("INSERT INTO sonic.records SELECT * FROM " +
    `file('${records}', TabSeparatedWithNames, '${columns}')`);
}
session.query("USE sonic");
for (const query of queries) {
  const answer = session.query(fs.readFileSync(query, "utf8"), "TabSeparatedWithNames");
  fs.writeFileSync(query + ".answer", answer);
}
console.log(session.query("SELECT 'ClickHouse ' || version()", "TabSeparatedRaw").trim());
session.close();
