// Lets sorvane-hook see every prompt of opencode, which runs no command of its own at a prompt.
// Copy it to ~/.config/opencode/plugins/ and put your manifest's values into the command: words, not a
// shell's line, so nothing in them is quoted. Whatever goes wrong here, the prompt goes on.
import { execFile } from "node:child_process"
import { createHash } from "node:crypto"

const command = ["/usr/local/bin/sorvane-hook","--agent","custom-UUID","--client-id","ID","--credential-file","FILE"]

const answerTo = (event) => new Promise((resolve) => {
  const hook = execFile(command[0], command.slice(1), { timeout: 30_000 }, (failure, output) => resolve(output))
  hook.stdin.on("error", () => {}).end(JSON.stringify(event))
})

// A picture is handed over as its bytes, in base64.
const digest = ({ url }) => createHash("sha256").update(url.slice(url.indexOf(",") + 1), "base64").digest("hex")

export const Sorvane = async ({ directory: cwd }) => ({
  "chat.message": async ({ sessionID }, { message, parts }) => {
    try {
      const prompt = parts.filter((part) => part.type === "text" && !part.synthetic).map((part) => part.text).join("\n")
      const pictures = parts.filter((part) => part.url?.startsWith("data:image/"))
      const attachments = pictures.map((part) => ({ sha256: digest(part) }))
      const answer = await answerTo({ prompt, attachments, cwd, session_id: sessionID, turn_id: message.id })
      const text = JSON.parse(answer).hookSpecificOutput.additionalContext
      // The order of the ids is that of the parts in the prompt.
      parts.push({ id: parts.at(-1).id + "s", sessionID, messageID: message.id, type: "text", synthetic: true, text })
    } catch {} // no picture, no answer, or no hook
  },
})
