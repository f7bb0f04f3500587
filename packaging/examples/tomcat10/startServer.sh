#!/bin/sh
# Starts Debian's tomcat10 by its unit; README says how the server's user comes by the right to.
exec systemctl --no-ask-password start tomcat10.service
