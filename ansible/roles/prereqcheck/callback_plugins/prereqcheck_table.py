"""Shows the role's table below everything else, as it is."""

from ansible.plugins.callback import CallbackBase

DOCUMENTATION = """
name: prereqcheck_table
type: aggregate
short_description: shows the table of the role prereqcheck at the end of the run
description: The engine shows a text with its line breaks written out; a table needs them.
"""


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "aggregate"
    CALLBACK_NAME = "prereqcheck_table"

    def __init__(self):
        super().__init__()
        self.table = ""

    def v2_runner_item_on_ok(self, result):
        self.keep(result._result)

    def keep(self, result):
        item = result.get("item")
        if isinstance(item, dict) and item.get("format") == "table" and "stdout" in result:
            self.table = result["stdout"]

    def v2_playbook_on_stats(self, stats):
        if self.table:
            self._display.display(self.table)
