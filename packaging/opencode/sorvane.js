// Lets sorvane-hook see every prompt of opencode, which runs no command of its own at a prompt.
// Copy it to ~/.config/opencode/plugins/ and put your manifest's values in; they are words, not a
// shell's line, so nothing in them is quoted. Whatever goes wrong here, the prompt goes on.
import { execFile } from "node:child_process"
import { createHash } from "node:crypto"

const program = "/usr/local/bin/sorvane-hook"
const options = ["--agent", "custom-UUID", "--client-id", "ID", "--credential-file", "FILE"]

const answerTo = (event) => new Promise((resolve) => {
  const hook = execFile(program, options, { timeout: 30_000 }, (failure, output) => resolve(output))
  hook.stdin.on("error", () => {})
  hook.stdin.end(JSON.stringify(event))
})

// opencode hands an attached picture over as its bytes, in base64.
const identityOf = ({ url }) =>
  ({ sha256: createHash("sha256").update(url.slice(url.indexOf(",") + 1), "base64").digest("hex") })

export const Sorvane = async ({ directory }) => ({
  "chat.message": async ({ sessionID }, { message, parts }) => {
    try {
      const written = parts.filter((part) => part.type === "text" && !part.synthetic)
      const pictures = parts.filter((part) => part.type === "file" && /^data:image\//.test(part.url))
      const answer = await answerTo({
        prompt: written.map((part) => part.text).join("\n"), attachments: pictures.map(identityOf),
        cwd: directory, session_id: sessionID, turn_id: message.id,
      })
      const text = JSON.parse(answer).hookSpecificOutput.additionalContext
      // A part's place in the prompt is the order of its id.
      const id = parts.at(-1).id + "s"
      parts.push({ id, sessionID, messageID: message.id, type: "text", synthetic: true, text })
    } catch {
      // No picture, no answer, or no hook.
    }
  },
})
