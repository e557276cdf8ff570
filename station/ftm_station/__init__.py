"""Station scripts for ftmd boards: the `board` fixture and its client, the
operator's prompts and the record of every board."""

from ftm_station.client import Board, BadArguments, BoardError, NoAnswer, OutOfLimits, Refused
from ftm_station.operator import Operator, NoOperatorAnswer

__all__ = ["Board", "BadArguments", "BoardError", "NoAnswer", "NoOperatorAnswer", "Operator",
           "OutOfLimits", "Refused"]
