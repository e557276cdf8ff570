"""The operator of a station: yes/no questions ("is the WAN LED lit?") and
instructions ("press WPS now"), each under a short key. Answers come from a
file for unattended runs and tests, or from the operator at the terminal.

An answer file holds one answer per line, for every board or for one:

    # KEY = ANSWER               every board
    wan-led = yes
    press-wps = done
    # BOARD KEY = ANSWER         one board (its --ftm-board address)
    127.0.0.1:6970 wan-led = no
"""


class NoOperatorAnswer(RuntimeError):
    """No answer for a prompt: no file line for it and no terminal."""


YES = ("yes", "y", "pass", "ok", "done")
NO = ("no", "n", "fail")


def read_answers(path):
    """{(board or None, key): answer} from an answer file."""
    answers = {}
    with open(path) as f:
        for number, line in enumerate(f, 1):
            line = line.strip()
            if not line or line.startswith("#"):
                continue
            left, eq, answer = line.partition("=")
            words = left.split()
            if not eq or len(words) not in (1, 2):
                raise ValueError("%s:%d: KEY = ANSWER or BOARD KEY = ANSWER" % (path, number))
            board = words[0] if len(words) == 2 else None
            answers[(board, words[-1])] = answer.strip().lower()
    return answers


class Operator:
    """Prompts for one board. `terminal(text)` asks the person at the station
    and returns the reply, or is None where no one can answer (a pytest-xdist
    worker, an unattended run). `on_answer(key, prompt, answer, passed)` is
    called for each answer (the plugin records it as a measurement)."""

    def __init__(self, board, answers=None, terminal=None, on_answer=None):
        self.board = board
        self.answers = answers or {}
        self.terminal = terminal
        self.on_answer = on_answer

    def _answer(self, key, prompt, choices):
        answer = self.answers.get((self.board, key), self.answers.get((None, key)))
        while answer is None or answer not in choices:
            if self.terminal is None:
                raise NoOperatorAnswer("board %s: no answer for %r (%s); give an answer file "
                                       "(--ftm-answers or FTM_ANSWERS)" % (self.board, key, prompt))
            answer = self.terminal("[%s] %s (%s) " % (self.board, prompt, "/".join(choices)))
            answer = answer.strip().lower()
        return answer

    def ask(self, key, question):
        """A yes/no question: True for yes."""
        answer = self._answer(key, question, YES[:2] + NO[:2])
        passed = answer in YES
        if self.on_answer is not None:
            self.on_answer(key, question, answer, passed)
        return passed

    def act(self, key, instruction):
        """An instruction the operator carries out and confirms ("done"), or
        cannot ("fail"): False then."""
        answer = self._answer(key, instruction, ("done", "fail"))
        passed = answer == "done"
        if self.on_answer is not None:
            self.on_answer(key, instruction, answer, passed)
        return passed
