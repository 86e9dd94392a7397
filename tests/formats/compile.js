// compile.js: reads a format description as JSON, prints the Python reader that the compiler makes of it.
const Compiler = require("kaitai-struct-compiler");
const description = JSON.parse(require("fs").readFileSync(0, "utf8"));

new Compiler().compile("python", description, null, false).then(
  (files) => process.stdout.write(Object.values(files).join("\n")),
  (error) => {
    console.error(String(error));
    process.exit(1);
  });
